// Where the store files live: the -path folder, else the user's configuration
// folder with "newsloom" behind it; and the desktop, where exports go by default.
#include "app/app.h"
#include "app/arguments.h"
#include "base/log.h"
#include "base/text.h"
#include "platform/os.h"

const char storage_path_too_long_message[] =
    "newsloom: the storage folder's path is longer than 4095 bytes, the longest the system takes; "
    "give a shorter one with -path.\n";

// Appends the whole text or nothing: a path cut to fit names another folder, and
// the system takes no path of the buffer's size.
static bool storage_path_put(data_t* path, const void* text, u64 size) {
    if (size >= path->reserved - path->used) return false;
    data_push_string(path, text, size);
    return true;
}

bool storage_path_resolve(app_t* app) {
    app->storage_path = data_make(app_path_capacity, 0, app->storage_path_buffer);

    char folder[app_path_capacity];
    data_t value = argument_value_text("-path", nullptr);
    bool fits;
    if (value.used) {
        fits = storage_path_put(&app->storage_path, value.bytes, value.used);
    } else if (os_config_folder(folder, sizeof(folder))) {
        fits = storage_path_put(&app->storage_path, folder, text_length(folder)) &&
               storage_path_put(&app->storage_path, "/newsloom", 9);
    } else {
        // No home to be found: keep the files beside the working folder rather
        // than stop.
        log_write_c_string(log_user, "No configuration folder found; the store is kept in ./newsloom\n");
        fits = storage_path_put(&app->storage_path, "newsloom", 8);
    }
    if (!fits) app->storage_path.used = 0;
    return fits;
}

// Asks a helper program, which takes a while: start-up does it off the window's way,
// but the frame after the first waits for it, so one that hangs is given up on.
void desktop_path_resolve(app_t* app) {
    app->desktop_path = data_make(app_path_capacity, 0, app->desktop_path_buffer);
    char folder[app_path_capacity];
    bool timed_out = false;
    // Only the export's default folder: one that doesn't fit is no folder.
    if (os_desktop_folder(folder, sizeof(folder), desktop_helper_limit_ms, &timed_out) &&
        !storage_path_put(&app->desktop_path, folder, text_length(folder))) {
        app->desktop_path.used = 0;
    }
    if (timed_out) {
        log_paragraph_start(log_user);
        log_write_c_string(log_user, "xdg-user-dir gave no desktop folder within 2 seconds");
        if (app->desktop_path.used) {
            log_write_c_string(log_user, "; exports go to ");
            log_write(log_user, app->desktop_path);
        }
        log_write_c_string(log_user, ".");
    }
}
