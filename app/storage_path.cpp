// Where the store files live: the -path folder, else the user's configuration
// folder with "newsloom" behind it; and the desktop, where exports go by default.
#include "app/app.h"
#include "app/arguments.h"
#include "base/log.h"
#include "base/text.h"
#include "platform/os.h"

// Puts as much of `text` as the path's buffer holds.
static void storage_path_put(data_t* path, const void* text, u64 size) {
    u64 room = path->reserved - path->used;
    data_push_string(path, text, min_of(size, room));
}

void storage_path_resolve(app_t* app) {
    app->storage_path = data_make(app_path_capacity, 0, app->storage_path_buffer);
    app->desktop_path = data_make(app_path_capacity, 0, app->desktop_path_buffer);

    char folder[app_path_capacity];
    data_t value = argument_value_text("-path", nullptr);
    if (value.used) {
        storage_path_put(&app->storage_path, value.bytes, value.used);
    } else if (os_config_folder(folder, sizeof(folder))) {
        storage_path_put(&app->storage_path, folder, text_length(folder));
        storage_path_put(&app->storage_path, "/newsloom", 9);
    } else {
        // No home to be found: keep the files beside the working folder rather
        // than stop.
        log_write_c_string(log_user, "No configuration folder found; the store is kept in ./newsloom\n");
        storage_path_put(&app->storage_path, "newsloom", 8);
    }

    if (os_desktop_folder(folder, sizeof(folder))) {
        storage_path_put(&app->desktop_path, folder, text_length(folder));
    }
}
