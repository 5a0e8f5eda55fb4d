// The OpenGL functions, reached through a table loaded by name once the window has
// a context. Only the renderer's GL backend and the window backend include this.
#pragma once

#include <GL/glcorearb.h>

#include "base/types.h"

// The GL table: one pointer per function, loaded by name.
#define GL_FUNCTION_LIST(X)                                            \
    X(PFNGLGETSTRINGPROC, glGetString)                                 \
    X(PFNGLGETINTEGERVPROC, glGetIntegerv)                             \
    X(PFNGLGETERRORPROC, glGetError)                                   \
    X(PFNGLCLEARCOLORPROC, glClearColor)                               \
    X(PFNGLGENTEXTURESPROC, glGenTextures)                             \
    X(PFNGLBINDTEXTUREPROC, glBindTexture)                             \
    X(PFNGLTEXPARAMETERIPROC, glTexParameteri)                         \
    X(PFNGLTEXIMAGE2DPROC, glTexImage2D)                               \
    X(PFNGLTEXSUBIMAGE2DPROC, glTexSubImage2D)                         \
    X(PFNGLCLEARPROC, glClear)                                         \
    X(PFNGLDRAWARRAYSPROC, glDrawArrays)                               \
    X(PFNGLFLUSHPROC, glFlush)                                         \
    X(PFNGLPIXELSTOREIPROC, glPixelStorei)                             \
    X(PFNGLDELETETEXTURESPROC, glDeleteTextures)                       \
    X(PFNGLFINISHPROC, glFinish)                                       \
    X(PFNGLENABLEPROC, glEnable)                                       \
    X(PFNGLBLENDFUNCPROC, glBlendFunc)                                 \
    X(PFNGLDRAWELEMENTSPROC, glDrawElements)                           \
    X(PFNGLDISABLEPROC, glDisable)                                     \
    X(PFNGLVIEWPORTPROC, glViewport)                                   \
    X(PFNGLSCISSORPROC, glScissor)                                     \
    X(PFNGLREADPIXELSPROC, glReadPixels)                               \
    X(PFNGLISENABLEDPROC, glIsEnabled)                                 \
    X(PFNGLACTIVETEXTUREPROC, glActiveTexture)                         \
    X(PFNGLGETSHADERIVPROC, glGetShaderiv)                             \
    X(PFNGLGETSHADERINFOLOGPROC, glGetShaderInfoLog)                   \
    X(PFNGLGETSHADERSOURCEPROC, glGetShaderSource)                     \
    X(PFNGLATTACHSHADERPROC, glAttachShader)                           \
    X(PFNGLBINDATTRIBLOCATIONPROC, glBindAttribLocation)               \
    X(PFNGLCOMPILESHADERPROC, glCompileShader)                         \
    X(PFNGLCREATEPROGRAMPROC, glCreateProgram)                         \
    X(PFNGLCREATESHADERPROC, glCreateShader)                           \
    X(PFNGLDELETEPROGRAMPROC, glDeleteProgram)                         \
    X(PFNGLDELETESHADERPROC, glDeleteShader)                           \
    X(PFNGLDETACHSHADERPROC, glDetachShader)                           \
    X(PFNGLDISABLEVERTEXATTRIBARRAYPROC, glDisableVertexAttribArray)   \
    X(PFNGLENABLEVERTEXATTRIBARRAYPROC, glEnableVertexAttribArray)     \
    X(PFNGLGETPROGRAMIVPROC, glGetProgramiv)                           \
    X(PFNGLGETPROGRAMINFOLOGPROC, glGetProgramInfoLog)                 \
    X(PFNGLLINKPROGRAMPROC, glLinkProgram)                             \
    X(PFNGLSHADERSOURCEPROC, glShaderSource)                           \
    X(PFNGLUSEPROGRAMPROC, glUseProgram)                               \
    X(PFNGLBINDBUFFERPROC, glBindBuffer)                               \
    X(PFNGLGENBUFFERSPROC, glGenBuffers)                               \
    X(PFNGLBUFFERDATAPROC, glBufferData)                               \
    X(PFNGLBUFFERSUBDATAPROC, glBufferSubData)                         \
    X(PFNGLVERTEXATTRIBPOINTERPROC, glVertexAttribPointer)             \
    X(PFNGLVERTEXATTRIBIPOINTERPROC, glVertexAttribIPointer)           \
    X(PFNGLBINDFRAGDATALOCATIONPROC, glBindFragDataLocation)           \
    X(PFNGLGETATTRIBLOCATIONPROC, glGetAttribLocation)                 \
    X(PFNGLDELETEBUFFERSPROC, glDeleteBuffers)                         \
    X(PFNGLDELETEVERTEXARRAYSPROC, glDeleteVertexArrays)               \
    X(PFNGLGENVERTEXARRAYSPROC, glGenVertexArrays)                     \
    X(PFNGLBINDVERTEXARRAYPROC, glBindVertexArray)                     \
    X(PFNGLGENERATEMIPMAPPROC, glGenerateMipmap)                       \
    X(PFNGLGETSTRINGIPROC, glGetStringi)                               \
    X(PFNGLGETUNIFORMLOCATIONPROC, glGetUniformLocation)               \
    X(PFNGLUNIFORM1UIPROC, glUniform1ui)                               \
    X(PFNGLUNIFORMMATRIX2X3FVPROC, glUniformMatrix2x3fv)               \
    X(PFNGLUNIFORMMATRIX3X4FVPROC, glUniformMatrix3x4fv)               \
    X(PFNGLUNIFORMMATRIX4FVPROC, glUniformMatrix4fv)                   \
    X(PFNGLUNIFORM4FVPROC, glUniform4fv)                               \
    X(PFNGLPRIMITIVERESTARTINDEXPROC, glPrimitiveRestartIndex)         \
    X(PFNGLDEBUGMESSAGECALLBACKARBPROC, glDebugMessageCallbackARB)

// Functions that a context may lack; null then, and their callers check.
#define GL_OPTIONAL_FUNCTION_LIST(X)                                   \
    X(PFNGLPROGRAMBINARYPROC, glProgramBinary)                         \
    X(PFNGLGETPROGRAMBINARYPROC, glGetProgramBinary)                   \
    X(PFNGLGENFRAMEBUFFERSPROC, glGenFramebuffers)                     \
    X(PFNGLDELETEFRAMEBUFFERSPROC, glDeleteFramebuffers)               \
    X(PFNGLBINDFRAMEBUFFERPROC, glBindFramebuffer)                     \
    X(PFNGLGENRENDERBUFFERSPROC, glGenRenderbuffers)                   \
    X(PFNGLDELETERENDERBUFFERSPROC, glDeleteRenderbuffers)             \
    X(PFNGLBINDRENDERBUFFERPROC, glBindRenderbuffer)                   \
    X(PFNGLRENDERBUFFERSTORAGEPROC, glRenderbufferStorage)             \
    X(PFNGLFRAMEBUFFERRENDERBUFFERPROC, glFramebufferRenderbuffer)     \
    X(PFNGLCHECKFRAMEBUFFERSTATUSPROC, glCheckFramebufferStatus)       \
    X(PFNGLBLITFRAMEBUFFERPROC, glBlitFramebuffer)

// A namespace keeps the pointers' symbols apart from the functions that the GL
// library itself exports under the same names.
namespace gl_table {
#define GL_TABLE_DECLARE(type, name) extern type name;
GL_FUNCTION_LIST(GL_TABLE_DECLARE)
GL_OPTIONAL_FUNCTION_LIST(GL_TABLE_DECLARE)
#undef GL_TABLE_DECLARE
}  // namespace gl_table
using namespace gl_table;

typedef void* (*gl_loader_t)(const char* name);
// Loads every name of the table through `loader`; gives the first name that came
// back null, or null when all were found. The optional ones may stay null.
const char* gl_load_functions(gl_loader_t loader);
// Writes the version, profile, flags and extensions of the current context to log
// channel 1.
void gl_log_info();
void APIENTRY gl_debug_message(GLenum source, GLenum type, GLuint id, GLenum severity, GLsizei length,
                                 const GLchar* message, const void* user);
// Set while a call that can fail for want of memory runs and its caller reads
// glGetError itself: the driver's high-severity messages are then logged only.
extern u32 gl_errors_expected;
