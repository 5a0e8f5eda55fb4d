// The floor of start-up on this machine: the least a program can do to show a
// frame the way Newsloom does it, a 1280x720 window with an OpenGL 3.3 core
// context, cleared and swapped once. Writes the monotonic clock in nanoseconds
// after the swap into FILE, as newsloom -first_frame_time does, and ends a second
// later.
#include <stdio.h>
#include <time.h>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>

typedef void (*clear_colour_t)(float, float, float, float);
typedef void (*clear_t)(unsigned);

int main(int argc, char** argv) {
    if (argc != 2 || !glfwInit()) return 2;
    glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 3);
    glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 3);
    glfwWindowHint(GLFW_OPENGL_PROFILE, GLFW_OPENGL_CORE_PROFILE);
    GLFWwindow* window = glfwCreateWindow(1280, 720, "floor", nullptr, nullptr);
    if (!window) return 1;
    glfwMakeContextCurrent(window);
    ((clear_colour_t)glfwGetProcAddress("glClearColor"))(0, 0, 0, 1);
    ((clear_t)glfwGetProcAddress("glClear"))(0x4000);  // GL_COLOR_BUFFER_BIT
    glfwSwapBuffers(window);
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    FILE* file = fopen(argv[1], "w");
    if (!file) return 1;
    fprintf(file, "%llu", (unsigned long long)now.tv_sec * 1000000000ull + (unsigned long long)now.tv_nsec);
    fclose(file);
    // A moment with nothing to do, so that the benchmark reads the processor time
    // of the start alone before it ends the program.
    timespec pause = {1, 0};
    nanosleep(&pause, nullptr);
    glfwTerminate();
    return 0;
}
