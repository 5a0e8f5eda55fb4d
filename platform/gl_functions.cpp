// The OpenGL function table, loaded by name from whatever the window backend
// offers, the description of the context on log channel 1, and the debug callback.
#include "base/log.h"
#include "base/text.h"
#include "platform/gl_functions.h"

namespace gl_table {
#define GL_TABLE_DEFINE(type, name) type name;
GL_FUNCTION_LIST(GL_TABLE_DEFINE)
GL_OPTIONAL_FUNCTION_LIST(GL_TABLE_DEFINE)
#undef GL_TABLE_DEFINE
}  // namespace gl_table

const char* gl_load_functions(gl_loader_t loader) {
    const char* missing = nullptr;
#define GL_TABLE_LOAD(type, name)                          \
    gl_table::name = (type)loader(#name);                  \
    if (!gl_table::name && !missing) missing = #name;
    GL_FUNCTION_LIST(GL_TABLE_LOAD)
#undef GL_TABLE_LOAD
#define GL_TABLE_LOAD_OPTIONAL(type, name) gl_table::name = (type)loader(#name);
    GL_OPTIONAL_FUNCTION_LIST(GL_TABLE_LOAD_OPTIONAL)
#undef GL_TABLE_LOAD_OPTIONAL
    return missing;
}

void gl_log_info() {
    const char* version = (const char*)glGetString(GL_VERSION);
    if (!version) version = "";
    log_write_c_string(log_graphics, "GL_VERSION: ");
    log_write_c_string(log_graphics, version);
    log_write_c_string(log_graphics, "\n");
    u32 major = char_is_digit((u8)version[0]) ? (u32)(version[0] - '0') : 0;
    u32 minor = (version[0] && version[1] == '.' && char_is_digit((u8)version[2])) ? (u32)(version[2] - '0') : 0;
    if (major < 3 || (major == 3 && minor < 2)) {
        log_write_c_string(log_graphics, "Extensions ( <= 3.1 ):\n");
        const char* extensions = (const char*)glGetString(GL_EXTENSIONS);
        log_write_c_string(log_graphics, extensions ? extensions : "");
        log_write_c_string(log_graphics, "\n\n");
        return;
    }
    GLint value = 0;
    glGetIntegerv(GL_MAJOR_VERSION, &value);
    log_write_c_string(log_graphics, "GL_MAJOR_VERSION: ");
    log_write_i64(log_graphics, value);
    glGetIntegerv(GL_MINOR_VERSION, &value);
    log_write_c_string(log_graphics, " \nGL_MINOR_VERSION: ");
    log_write_i64(log_graphics, value);
    log_write_c_string(log_graphics, "\n");
    GLint profile = 0;
    glGetIntegerv(GL_CONTEXT_PROFILE_MASK, &profile);
    log_write_c_string(log_graphics, "GL_CONTEXT_PROFILE_MASK: ");
    log_write_c_string(log_graphics, (profile & GL_CONTEXT_CORE_PROFILE_BIT) ? "GL_CONTEXT_CORE_PROFILE_BIT\n"
                                                                             : "GL_CONTEXT_COMPATIBILITY_PROFILE_BIT\n");
    GLint flags = 0;
    glGetIntegerv(GL_CONTEXT_FLAGS, &flags);
    log_write_c_string(log_graphics, "GL_CONTEXT_FLAGS: ");
    if (flags & GL_CONTEXT_FLAG_FORWARD_COMPATIBLE_BIT) {
        log_write_c_string(log_graphics, "GL_CONTEXT_FLAG_FORWARD_COMPATIBLE_BIT ");
    }
    if (flags & GL_CONTEXT_FLAG_DEBUG_BIT) log_write_c_string(log_graphics, "GL_CONTEXT_FLAG_DEBUG_BIT ");
    log_write_c_string(log_graphics, "\n\nExtensions ( >= 3.2 ):\n");
    GLint count = 0;
    glGetIntegerv(GL_NUM_EXTENSIONS, &count);
    for (GLint i = 0; i < count; i++) {
        const char* name = (const char*)glGetStringi(GL_EXTENSIONS, (GLuint)i);
        log_write_c_string(log_graphics, name ? name : "");
        log_write_c_string(log_graphics, "\n");
    }
}

u32 gl_errors_expected = 0;

// Everything the driver says is kept on channel 1; only a high-severity message,
// which means the program used GL wrongly, stops it, unless the caller expects
// failures it handles.
void APIENTRY gl_debug_message(GLenum source, GLenum type, GLuint id, GLenum severity, GLsizei length,
                                 const GLchar* message, const void* user) {
    if (length < 0) {
        log_write_c_string(log_graphics, message);
    } else {
        log_write_bytes(log_graphics, message, (u64)length);
    }
    log_write_c_string(log_graphics, "\n");
    ASSERT(severity != GL_DEBUG_SEVERITY_HIGH_ARB || gl_errors_expected);
}
