// The window on GLFW (X11): creation of the window and its OpenGL 3.3 core debug
// context, the per-frame drain of events into window_t, cursors, clipboard and the
// wake-up that ends the main thread's wait.
#include <X11/Xlib.h>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#define GLFW_INCLUDE_NONE
#include <GLFW/glfw3.h>
#define GLFW_EXPOSE_NATIVE_X11
#include <GLFW/glfw3native.h>

#include "base/log.h"
#include "base/text.h"
#include "platform/gl_functions.h"
#include "platform/wake.h"
#include "platform/window.h"
#include "profiler/profiler.h"

// GLFW calls back without context of ours; there is one window.
static window_t* glfw_record;
static GLFWwindow* glfw_handle;
static bool glfw_started;
// What window_system_start's glfwInit said, for the window_create after it.
static bool glfw_init_tried;
static bool glfw_init_done;
// Messages other than mouse moves since the wait began; flag 2 waits for one.
static u32 glfw_non_move_events;
static u32 glfw_woken;  // set by window_wake from any thread
static u32 glfw_close_requested;  // set by window_close_request from any thread

// Where the context offers it, frames are shown by copying rectangles of the back
// buffer to the window (GLX_MESA_copy_sub_buffer); null otherwise.
extern "C" XID glfwGetGLXWindow(GLFWwindow* window);
typedef void (*glx_copy_sub_buffer_t)(Display* display, XID drawable, int x, int y, int width, int height);
static glx_copy_sub_buffer_t glfw_copy_sub_buffer;
// The window's pixels are to be shown whole at the next frame: the first, or the
// window system lost them (a resize, an expose).
static bool glfw_show_whole;
// The size changed since the last drain. The driver learns a drawable's new size
// only at a swap, which a kept back buffer never has otherwise.
static bool glfw_resized;

static u32 glfw_time_ms() { return (u32)(glfwGetTime() * 1000.0); }

static void glfw_fail(const char* message) {
    log_write_c_string(log_graphics, message);
    fputs(message, stderr);
    fflush(stderr);
}

static void glfw_error(int code, const char* description) {
    log_write_c_string(log_graphics, "GLFW error: ");
    log_write_c_string(log_graphics, description);
    log_write_c_string(log_graphics, "\n");
}

static u32 glfw_modifiers(window_t* window) {
    u32 modifiers = 0;
    if (input_down(window, key_left_control)) modifiers |= input_modifier_left_control;
    if (input_down(window, key_right_control)) modifiers |= input_modifier_right_control;
    if (input_down(window, key_left_alt)) modifiers |= input_modifier_left_alt;
    if (input_down(window, key_right_alt)) modifiers |= input_modifier_right_alt;
    if (input_down(window, key_left_shift)) modifiers |= input_modifier_left_shift;
    if (input_down(window, key_right_shift)) modifiers |= input_modifier_right_shift;
    if (input_down(window, key_left_win)) modifiers |= input_modifier_left_win;
    if (input_down(window, key_right_win)) modifiers |= input_modifier_right_win;
    return modifiers;
}

static void glfw_mouse_position(window_t* window, i32* x, i32* y) {
    double cx = 0, cy = 0;
    glfwGetCursorPos(glfw_handle, &cx, &cy);
    *x = (i32)floor(cx);
    *y = window->height - 1 - (i32)floor(cy);
}

static void glfw_key(GLFWwindow* handle, int glfw_key, int scancode, int action, int mods) {
    window_t* window = glfw_record;
    glfw_non_move_events += 1;
    u32 key = (glfw_key >= 0 && glfw_key <= (int)key_glfw_last) ? key_from_glfw[glfw_key] : 0;
    if (key == key_none) return;
    bool down = action != GLFW_RELEASE;
    u32 evdev = scancode >= 8 ? (u32)scancode - 8 : 0;
    u32 scan = evdev < 128 ? key_scan_from_evdev[evdev] : 0;
    input_key(window, key, down, scan, glfw_modifiers(window), glfw_time_ms());
    // The characters that a key message brings on Windows and GLFW doesn't: the text
    // box returns Return, Escape and Tab to its caller.
    if (down) {
        if (key == key_return) input_text(window, 13);
        if (key == key_escape) input_text(window, 27);
        if (key == key_tab) input_text(window, 9);
        if (key == key_backspace) input_text(window, 8);
    }
    if (key == key_f4 && down && (mods & GLFW_MOD_ALT)) window->quit_requested = 1;
}

static void glfw_char(GLFWwindow* handle, unsigned int codepoint) {
    glfw_non_move_events += 1;
    input_text(glfw_record, codepoint);
}

static void glfw_mouse_button(GLFWwindow* handle, int button, int action, int mods) {
    window_t* window = glfw_record;
    glfw_non_move_events += 1;
    if (button < 0 || button > 4) return;
    u32 key = key_mouse_left + (u32)button;  // left, right, middle, then the two side buttons
    i32 x = 0, y = 0;
    glfw_mouse_position(window, &x, &y);
    input_button(window, key, action == GLFW_PRESS, x, y, glfw_modifiers(window), glfw_time_ms());
}

static void glfw_scroll(GLFWwindow* handle, double dx, double dy) {
    glfw_non_move_events += 1;
    glfw_record->wheel = (f32)dy;
}

static void glfw_client_position(window_t* window) {
    int x = 0, y = 0;
    glfwGetWindowPos(glfw_handle, &x, &y);
    window->x = x;
    window->y = window->screen_height - (y + window->height);
}

static void glfw_size(GLFWwindow* handle, int width, int height) {
    window_t* window = glfw_record;
    glfw_non_move_events += 1;
    window->width = width;
    window->height = height;
    window->resized = 1;
    glfw_show_whole = true;
    glfw_resized = true;
    glfw_client_position(window);
}

// The window system asks for the window's pixels again: the kept back buffer still
// has them, and the next frame shows it whole.
static void glfw_refresh(GLFWwindow* handle) {
    glfw_non_move_events += 1;
    glfw_show_whole = true;
}

static void glfw_position(GLFWwindow* handle, int x, int y) {
    glfw_non_move_events += 1;
    glfw_client_position(glfw_record);
    glfw_record->resized = 1;
}

static bool glfw_key_is_down(u32 key, void* context) {
    if (key >= key_mouse_left && key <= key_mouse_x2) {
        // Buttons count only over the client area; elsewhere they read as up.
        bool inside = *(bool*)context;
        return inside && glfwGetMouseButton(glfw_handle, (int)(key - key_mouse_left)) == GLFW_PRESS;
    }
    u32 generic_left = 0, generic_right = 0;
    if (key == key_shift) generic_left = key_left_shift, generic_right = key_right_shift;
    if (key == key_control) generic_left = key_left_control, generic_right = key_right_control;
    if (key == key_alt) generic_left = key_left_alt, generic_right = key_right_alt;
    if (generic_left) return glfw_key_is_down(generic_left, context) || glfw_key_is_down(generic_right, context);
    for (int g = 0; g <= (int)key_glfw_last; g++) {
        if (key_from_glfw[g] == key && glfwGetKey(glfw_handle, g) == GLFW_PRESS) return true;
    }
    return false;
}

static void glfw_focus(GLFWwindow* handle, int focused) {
    window_t* window = glfw_record;
    glfw_non_move_events += 1;
    if (focused) {
        glfw_mouse_position(window, &window->mouse_x, &window->mouse_y);
        bool inside = window->mouse_x >= 0 && window->mouse_x < window->width && window->mouse_y >= 0 &&
                      window->mouse_y < window->height;
        input_sync_keys(window, glfw_key_is_down, &inside);
    } else {
        input_reset(window);
        glfw_mouse_position(window, &window->mouse_x, &window->mouse_y);
    }
    window->had_focus = 1;
}

static void glfw_close(GLFWwindow* handle) {
    glfw_non_move_events += 1;
    glfw_record->quit_requested = 1;
}

// Whether a compositing manager owns the screen: then the swap waits for the
// display and the frame loop needs no pacing of its own.
static u32 glfw_compositor_running() {
    Display* display = glfwGetX11Display();
    if (!display) return 0;
    char name[32];
    snprintf(name, sizeof(name), "_NET_WM_CM_S%d", DefaultScreen(display));
    Atom atom = XInternAtom(display, name, False);
    return XGetSelectionOwner(display, atom) != None ? 1 : 0;
}

static void* glfw_loader(const char* name) { return (void*)glfwGetProcAddress(name); }

static void glfw_teardown() {
    if (glfw_handle) glfwDestroyWindow(glfw_handle);
    glfw_handle = nullptr;
    glfwTerminate();
    glfw_started = false;
}

void window_system_start() {
    glfwSetErrorCallback(glfw_error);
    glfw_init_done = glfwInit() != 0;
    glfw_init_tried = true;
}

void window_create(window_t* window, data_t title, i32 width, i32 height, i32 x, i32 y, u32 flags) {
    PROFILE_ZONE(window_create);
    window->running = 0;
    glfwSetErrorCallback(glfw_error);
    {
        PROFILE_ZONE(register_class_w);
        bool initialised = glfw_init_tried ? glfw_init_done : glfwInit() != 0;
        glfw_init_tried = false;
        if (!initialised) {
            // GLFW's own words say which step failed (most often the display).
            const char* description = nullptr;
            glfwGetError(&description);
            if (description) {
                fputs(description, stderr);
                fputs("\n", stderr);
            }
            glfw_fail("Failed to create a default OpenGL context\n");
            return;
        }
    }
    glfw_started = true;
    glfw_record = window;

    window->double_click_time = 500;
    window->wheel_lines = 3;
    window->caret_blink_time = 530;
    window->timer = 0;
    // Each cursor is made the first time it shows: each one reads the cursor theme's
    // files, and the first frame wants only the arrow.
    for (u32 i = 0; i < window_cursor_count; i++) window->cursors[i] = nullptr;

    GLFWmonitor* monitor = glfwGetPrimaryMonitor();
    const GLFWvidmode* mode = monitor ? glfwGetVideoMode(monitor) : nullptr;
    if (mode) {
        window->screen_width = mode->width;
        window->screen_height = mode->height;
        window->refresh_rate = (u16)(mode->refreshRate > 0 ? mode->refreshRate : 0);
    }
    // A virtual screen may report no rate; a display that says nothing is taken as 60 Hz.
    if (window->refresh_rate == 0) {
        log_write_c_string(log_graphics, "The monitor reports no refresh rate; 60 Hz assumed.\n");
        window->refresh_rate = 60;
    }

    glfwDefaultWindowHints();
    glfwWindowHint(GLFW_CONTEXT_VERSION_MAJOR, 3);
    glfwWindowHint(GLFW_CONTEXT_VERSION_MINOR, 3);
    glfwWindowHint(GLFW_OPENGL_PROFILE, GLFW_OPENGL_CORE_PROFILE);
    glfwWindowHint(GLFW_OPENGL_DEBUG_CONTEXT, GLFW_TRUE);
    glfwWindowHint(GLFW_RED_BITS, 8);
    glfwWindowHint(GLFW_GREEN_BITS, 8);
    glfwWindowHint(GLFW_BLUE_BITS, 8);
    glfwWindowHint(GLFW_ALPHA_BITS, 8);
    glfwWindowHint(GLFW_DEPTH_BITS, 24);
    glfwWindowHint(GLFW_STENCIL_BITS, 8);
    glfwWindowHint(GLFW_DOUBLEBUFFER, GLFW_TRUE);
    glfwWindowHint(GLFW_VISIBLE, GLFW_FALSE);
    glfwWindowHint(GLFW_DECORATED, (flags & window_flag_popup) ? GLFW_FALSE : GLFW_TRUE);
    glfwWindowHint(GLFW_MAXIMIZED, (flags & window_flag_maximized) ? GLFW_TRUE : GLFW_FALSE);

    char title_text[2048];
    u64 title_size = min_of<u64>(title.used, sizeof(title_text) - 1);
    memcpy(title_text, title.bytes, title_size);
    title_text[title_size] = 0;
    {
        PROFILE_ZONE(wgl_create_context_attribs);
        glfw_handle = glfwCreateWindow(width, height, title_text, nullptr, nullptr);
    }
    if (!glfw_handle) {
        glfw_fail("Failed to create an advanced render context.\n");
        glfw_teardown();
        return;
    }
    {
        PROFILE_ZONE(wgl_make_current);
        glfwMakeContextCurrent(glfw_handle);
    }
    {
        PROFILE_ZONE(dummy_get_gl_functions);
        const char* missing = gl_load_functions(glfw_loader);
        if (missing) {
            log_write_c_string(log_graphics, "OpenGL function not found: ");
            log_write_c_string(log_graphics, missing);
            log_write_c_string(log_graphics, "\n");
            fprintf(stderr, "OpenGL function not found: %s\n", missing);
            glfw_teardown();
            return;
        }
    }
    // The debug callback is how GL misuse is caught; a context without it isn't used.
    if (!glfwExtensionSupported("GL_ARB_debug_output") && !glfwExtensionSupported("GL_KHR_debug")) {
        glfw_fail("Missing OpenGL extension: GL_ARB_debug_output\n");
        glfw_teardown();
        return;
    }
    glEnable(GL_DEBUG_OUTPUT_SYNCHRONOUS_ARB);
    glDebugMessageCallbackARB(gl_debug_message, nullptr);
    window->swap_paced = glfw_compositor_running();
    glfw_copy_sub_buffer = nullptr;
    if (glfwExtensionSupported("GLX_MESA_copy_sub_buffer") && glfwGetGLXWindow(glfw_handle)) {
        glfw_copy_sub_buffer = (glx_copy_sub_buffer_t)glfwGetProcAddress("glXCopySubBufferMESA");
    }
    window->back_buffer_kept = glfw_copy_sub_buffer ? 1 : 0;
    glfw_show_whole = true;
    log_write_c_string(log_graphics, window->back_buffer_kept ? "Frames are shown by copying what changed.\n"
                                                               : "Frames are shown by swapping the buffers.\n");
    {
        PROFILE_ZONE(log_functions);
        log_write_c_string(log_graphics, "\nActual context\n");
        gl_log_info();
    }
    glfwSwapInterval(1);

    i32 px = x == window_position_centred ? (window->screen_width - width) / 2 : x;
    // Positions are given with y counted from the bottom of the screen.
    i32 py = y == window_position_centred ? (window->screen_height - height) / 2 : window->screen_height - y - height;
    glfwSetWindowPos(glfw_handle, px, py);
    {
        PROFILE_ZONE(show_window);
        glfwShowWindow(glfw_handle);
    }
    window->handle = glfw_handle;
    window->render_context = glfw_handle;
    int fw = 0, fh = 0;
    glfwGetFramebufferSize(glfw_handle, &fw, &fh);
    window->width = fw;
    window->height = fh;
    glfw_client_position(window);
    window->running = 1;
    window->quit_requested = 0;
    glViewport(0, 0, window->width, window->height);

    glfwSetKeyCallback(glfw_handle, glfw_key);
    glfwSetCharCallback(glfw_handle, glfw_char);
    glfwSetMouseButtonCallback(glfw_handle, glfw_mouse_button);
    glfwSetScrollCallback(glfw_handle, glfw_scroll);
    glfwSetFramebufferSizeCallback(glfw_handle, glfw_size);
    glfwSetWindowPosCallback(glfw_handle, glfw_position);
    glfwSetWindowFocusCallback(glfw_handle, glfw_focus);
    glfwSetWindowCloseCallback(glfw_handle, glfw_close);
    glfwSetWindowRefreshCallback(glfw_handle, glfw_refresh);
    wake_install(window_wake);
}

void window_create_stub(window_t* window, i32 width, i32 height) {
    window->width = width;
    window->height = height;
    window->screen_width = width;
    window->screen_height = height;
    window->refresh_rate = 60;
    window->swap_paced = 1;
    window->running = 1;
    window->handle = nullptr;
    // Stand-ins that only need to differ, so that tests can tell the cursor shown.
    for (u32 i = 0; i < window_cursor_count; i++) window->cursors[i] = (void*)(uintptr_t)(i + 1);
    window->cursor_current = window->cursors[window_cursor_arrow];
}

void window_handle_messages(window_t* window, u32 flags) {
    PROFILE_ZONE(window_handle_messages);
    // A close asked for before the wait would have nothing left to end the wait.
    bool closing = __atomic_exchange_n(&glfw_close_requested, 0, __ATOMIC_ACQ_REL);
    if (closing) window->quit_requested = 1;
    // A stub has no messages: its input is what a test wrote since it began the
    // frame's input itself.
    if (!window->handle) return;
    {
        PROFILE_ZONE(setup);
        input_frame_begin(window);
    }
    glfw_non_move_events = 0;
    if (closing) flags &= ~(u32)window_messages_wait;
    if (flags & window_messages_wait) {
        PROFILE_ZONE(GetMessage);
        glfwWaitEvents();
        while ((flags & window_messages_wait_ignores_mouse_move) && glfw_non_move_events == 0 &&
               !__atomic_exchange_n(&glfw_woken, 0, __ATOMIC_ACQ_REL)) {
            glfwWaitEvents();
        }
    } else {
        PROFILE_ZONE(PeekMessage);
        glfwPollEvents();
    }
    if (__atomic_exchange_n(&glfw_close_requested, 0, __ATOMIC_ACQ_REL)) window->quit_requested = 1;
    if (glfw_resized && window->back_buffer_kept) {
        // Before the frame draws: the swap shows the last frame once more, and the
        // frame's back buffer then has the new size but none of its pixels.
        glfwSwapBuffers(glfw_handle);
        window->back_buffer_lost = 1;
        glfw_show_whole = true;
    }
    glfw_resized = false;
    glfw_mouse_position(window, &window->mouse_x, &window->mouse_y);
    if (window->events_dropped) {
        log_paragraph_start(log_user);
        log_write_c_string(log_user, "Too much input in one frame: ");
        log_write_u64(log_user, window->events_dropped);
        log_write_c_string(log_user, " events were dropped.\n");
    }
}

void window_swap_buffers(window_t* window, const i32 (*rects)[4], u32 count) {
    PROFILE_ZONE(window_swap_buffers);
    if (!window->handle) return;
    GLFWwindow* handle = (GLFWwindow*)window->handle;
    if (!window->back_buffer_kept || !glfw_copy_sub_buffer) {
        glfwSwapBuffers(handle);
        return;
    }
    Display* display = glfwGetX11Display();
    XID drawable = glfwGetGLXWindow(handle);
    if (!rects || glfw_show_whole) {
        glfw_copy_sub_buffer(display, drawable, 0, 0, window->width, window->height);
        glfw_show_whole = false;
        return;
    }
    for (u32 i = 0; i < count; i++) {
        const i32* r = rects[i];
        if (r[2] > 0 && r[3] > 0) glfw_copy_sub_buffer(display, drawable, r[0], r[1], r[2], r[3]);
    }
}

void window_set_cursor(window_t* window, void* cursor) {
    ASSERT(cursor);
    if (cursor == window->cursor_current) return;
    if (window->handle) glfwSetCursor((GLFWwindow*)window->handle, (GLFWcursor*)cursor);
    window->cursor_current = cursor;
}

void window_apply_cursor(window_t* window, u32 kind) {
    ASSERT(kind < window_cursor_count);
    static const int shapes[window_cursor_count] = {GLFW_ARROW_CURSOR, GLFW_HAND_CURSOR, GLFW_IBEAM_CURSOR,
                                                    GLFW_VRESIZE_CURSOR, GLFW_HRESIZE_CURSOR};
    // A shape the system doesn't have is asked for once and leaves the cursor as it was.
    static char refused;
    if (!window->cursors[kind] && window->handle) {
        GLFWcursor* made = glfwCreateStandardCursor(shapes[kind]);
        if (!made) log_write_c_string(log_graphics, "The system has no standard cursor of one shape; it isn't shown.\n");
        window->cursors[kind] = made ? (void*)made : (void*)&refused;
    }
    if (window->cursors[kind] && window->cursors[kind] != &refused) window_set_cursor(window, window->cursors[kind]);
}

void window_set_swap_interval(i32 interval) {
    if (glfw_handle) glfwSwapInterval(interval);
}

void window_wake() {
    __atomic_store_n(&glfw_woken, 1, __ATOMIC_RELEASE);
    if (glfw_started) glfwPostEmptyEvent();
}

void window_close_request() {
    __atomic_store_n(&glfw_close_requested, 1, __ATOMIC_RELEASE);
    window_wake();
}

// Without a window (the stub) the clipboard is this buffer, so that tests can copy
// and paste headless.
static char stub_clipboard[0x10000];

data_t clipboard_paste(data_t* text, bool zero_terminate) {
    data_t result = {};
    const char* clip = glfw_handle ? glfwGetClipboardString(glfw_handle) : stub_clipboard;
    if (!clip) return result;
    u64 size = strlen(clip);
    u64 room = text->reserved - text->used;
    if (zero_terminate) {
        if (room == 0) return result;
        room -= 1;
    }
    // Cut at a whole character so that the text stays valid UTF-8.
    if (size > room) {
        size = room;
        while (size > 0 && ((u8)clip[size] & 0xC0) == 0x80) size -= 1;
    }
    u8* target = text->bytes + text->used;
    memcpy(target, clip, size);
    if (zero_terminate) target[size] = 0;
    text->used += size;
    result = data_t{size, size, target};
    return result;
}

u32 clipboard_copy(data_t text) {
    if (!glfw_handle) {
        if (text.used >= sizeof(stub_clipboard)) return 0;
        memcpy(stub_clipboard, text.bytes, text.used);
        stub_clipboard[text.used] = 0;
        return 1;
    }
    char* copy = (char*)malloc(text.used + 1);
    if (!copy) return 0;
    memcpy(copy, text.bytes, text.used);
    copy[text.used] = 0;
    glfwSetClipboardString(glfw_handle, copy);
    free(copy);
    return 1;
}
