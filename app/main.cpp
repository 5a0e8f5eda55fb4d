// Entry point of the desktop program.
int main(int argc, char** argv) { return 0; }
