// Files and directories through the platform: every operation takes the shared
// error value and does nothing once it is set, so a sequence is tested once.
#include "base/file.h"

#include "base/log.h"
#include "platform/os.h"

// Why the last file operation of this thread failed, for file_error_text: the
// system's error number, taken at once before later calls change it, or words
// when the system wasn't asked. Successful calls leave it alone.
struct file_reason_t {
    i32 system_error;
    const char* text;
};
static thread_local file_reason_t file_reason;

static void file_fail(file_error_t* error, file_error_t value) {
    *error = value;
    file_reason = file_reason_t{os_last_error(), nullptr};
}

static void file_fail_because(file_error_t* error, file_error_t value, const char* text) {
    *error = value;
    file_reason = file_reason_t{0, text};
}

// The platform wants a terminated path. One that doesn't fit is a conversion
// error, as it would be for a wide path buffer that is too small.
static bool file_path_terminate(const u8* path, u64 size, char* buffer, file_error_t* error) {
    if (*error) return false;
    if (size >= file_path_capacity || (!path && size)) {
        file_fail_because(error, utf_error_target_too_small, "the path is longer than the system takes");
        return false;
    }
    bytes_copy(buffer, path, size);
    buffer[size] = 0;
    return true;
}

file_handle_t file_open(const u8* path, u64 path_size, bool write, bool overwrite, file_error_t* error) {
    char terminated[file_path_capacity];
    if (!file_path_terminate(path, path_size, terminated, error)) return file_handle_invalid;
    u32 mode = !write ? os_open_read : overwrite ? os_open_write_overwrite : os_open_write_new;
    i64 handle = os_file_open(terminated, mode);
    if (handle < 0) {
        file_fail(error, file_error_open);
        return file_handle_invalid;
    }
    return (file_handle_t)handle;
}

file_handle_t file_open(data_t path, bool write, bool overwrite, file_error_t* error) {
    return file_open(path.bytes, path.used, write, overwrite, error);
}

void file_close(file_handle_t handle, file_error_t* error) {
    // A valid handle is closed even after an error, or a failed sequence would leak
    // it; the first error is never overwritten.
    if (handle == file_handle_invalid) {
        if (!*error) file_fail_because(error, file_error_close_invalid, "the file wasn't open");
        return;
    }
    os_file_close((i64)handle);
}

u64 file_size(file_handle_t handle, file_error_t* error) {
    if (*error || handle == file_handle_invalid) return 0;
    u64 size = 0;
    if (!os_file_size((i64)handle, &size)) {
        file_fail(error, file_error_size);
        return 0;
    }
    return size;
}

static constexpr u64 file_chunk_size = 0xFFFFFFFFull;

// No earlier error, an open handle and an offset that a file can hold.
static bool file_usable(file_handle_t handle, u64 offset, file_error_t* error) {
    if (*error) return false;
    if (handle == file_handle_invalid) {
        file_fail_because(error, file_error_invalid_handle, "the file wasn't open");
        return false;
    }
    if (offset > (u64)INT64_MAX) {
        file_fail_because(error, file_error_seek, "the offset is beyond what a file can hold");
        return false;
    }
    return true;
}

// A positioned read or write in chunks that the system takes; stops at the first
// short one.
static u64 file_transfer(file_handle_t handle, u64 offset, u64 size, u8* bytes, bool writing, file_error_t* error) {
    if (!file_usable(handle, offset, error)) return 0;
    u64 total = 0;
    while (total < size) {
        u64 chunk = min_of(size - total, file_chunk_size);
        i64 moved = writing ? os_file_pwrite((i64)handle, bytes + total, chunk, offset + total)
                            : os_file_pread((i64)handle, bytes + total, chunk, offset + total);
        if (moved < 0) {
            file_fail(error, writing ? file_error_write : file_error_read);
            break;
        }
        if (moved == 0 && !writing) {
            file_fail_because(error, file_error_read_nothing, "the file ended before all its bytes were read");
            break;
        }
        total += (u64)moved;
        if ((u64)moved < chunk) break;
    }
    if (!*error && total < size) {
        if (writing) {
            file_fail_because(error, file_error_short_write, "the disk took fewer bytes than were written");
        } else {
            file_fail_because(error, file_error_short_read, "the file ended before all its bytes were read");
        }
    }
    return total;
}

u64 file_read(file_handle_t handle, u64 offset, u64 size, void* buffer, file_error_t* error) {
    return file_transfer(handle, offset, size, (u8*)buffer, false, error);
}

u64 file_write(file_handle_t handle, u64 offset, u64 size, const void* buffer, file_error_t* error) {
    return file_transfer(handle, offset, size, (u8*)buffer, true, error);
}

void file_sync(file_handle_t handle, file_error_t* error) {
    if (!file_usable(handle, 0, error)) return;
    if (!os_file_sync((i64)handle)) file_fail(error, file_error_write);
}

data_t file_read_all(data_t path, bool zero_terminate, file_error_t* error) {
    if (*error) return data_t{};
    file_handle_t handle = file_open(path, false, false, error);
    u64 size = file_size(handle, error);
    data_t block = {};
    if (!*error) {
        block = data_allocate(size + (zero_terminate ? 1 : 0), nullptr);
        if (!block.bytes && block.reserved) {
            // No memory for it shows as a failed read.
            file_fail_because(error, file_error_read, "no memory for the file");
        } else {
            block.used = file_read(handle, 0, size, block.bytes, error);
        }
    }
    file_close(handle, error);
    if (zero_terminate && !*error) data_push_u8(&block, 0);
    if (block.used != block.reserved) {
        // A partly read file is never handed out.
        data_free(&block);
        data_zero(&block);
    }
    return block;
}

void file_write_all(data_t path, const void* bytes, u64 size, bool overwrite, file_error_t* error) {
    file_handle_t handle = file_open(path, true, overwrite, error);
    file_write(handle, 0, size, bytes, error);
    if (handle != file_handle_invalid) file_close(handle, error);
}

void file_delete(data_t path, file_error_t* error) {
    char terminated[file_path_capacity];
    if (!file_path_terminate(path.bytes, path.used, terminated, error)) return;
    if (!os_file_delete(terminated)) file_fail(error, file_error_delete);
}

void file_rename(data_t from, data_t to, file_error_t* error) {
    char from_terminated[file_path_capacity];
    char to_terminated[file_path_capacity];
    if (!file_path_terminate(from.bytes, from.used, from_terminated, error)) return;
    if (!file_path_terminate(to.bytes, to.used, to_terminated, error)) return;
    if (!os_file_rename(from_terminated, to_terminated)) file_fail(error, file_error_rename);
}

bool directory_create_with_parents(data_t path, file_error_t* error) {
    char terminated[file_path_capacity];
    if (!file_path_terminate(path.bytes, path.used, terminated, error)) return false;
    // Each prefix that ends before a separator, then the whole path. Folders that
    // are there already count as made.
    for (u64 i = 1; i <= path.used; i++) {
        if (i < path.used && terminated[i] != '/') continue;
        if (terminated[i - 1] == '/') continue;  // a doubled or trailing separator
        char kept = terminated[i];
        terminated[i] = 0;
        bool made = os_directory_create(terminated) >= 0;
        terminated[i] = kept;
        if (!made) {
            file_fail(error, file_error_create_directory);
            return false;
        }
    }
    // "Already there" holds for a file of the name too.
    if (os_path_kind(terminated) != 1) {
        file_fail_because(error, file_error_create_directory, "a file of that name is in the way");
        return false;
    }
    return true;
}

void directory_sync(data_t path, file_error_t* error) {
    char terminated[file_path_capacity];
    if (!file_path_terminate(path.bytes, path.used, terminated, error)) return;
    if (!os_directory_sync(terminated)) file_fail(error, file_error_write);
}

bool directory_exists(data_t path, file_error_t* error) {
    char terminated[file_path_capacity];
    if (!file_path_terminate(path.bytes, path.used, terminated, error)) return false;
    return os_path_kind(terminated) == 1;
}

data_t file_extension(data_t name) {
    for (u64 i = name.used; i > 0; i--) {
        if (name.bytes[i - 1] == '.') return data_from_range(name.bytes + i, name.bytes + name.used);
    }
    return data_t{};
}

data_t file_strip_extension(data_t name) {
    for (u64 i = name.used; i > 0; i--) {
        if (name.bytes[i - 1] == '.') return data_from_size(i - 1, name.bytes);
    }
    return name;
}

u32 string_split_commas(data_t list, data_t* items, u32 max_count) {
    u32 count = 0;
    u64 at = 0;
    while (at < list.used && count < max_count) {
        while (at < list.used && list.bytes[at] == ' ') at++;
        u64 start = at;
        while (at < list.used && list.bytes[at] != ',') at++;
        if (at > start) items[count++] = data_from_range(list.bytes + start, list.bytes + at);
        at++;  // past the comma
    }
    return count;
}

directory_list_t directory_list_create(data_t* block, u32 capacity) {
    u64 used_before = block->used;
    directory_list_t list = {};
    list.paths = (u8**)data_push(block, sizeof(u8*) * capacity, 8);
    list.sizes = (u64*)data_push(block, sizeof(u64) * capacity, 8);
    list.path_lengths = (u16*)data_push(block, sizeof(u16) * capacity, 2);
    list.is_directory = (u8*)data_push(block, capacity, 1);
    list.times = (u64*)data_push(block, sizeof(u64) * capacity, 8);
    if (!list.paths || !list.sizes || !list.path_lengths || !list.is_directory || !list.times) {
        block->used = used_before;
        return directory_list_t{};
    }
    list.text = block;
    list.text_start = block->used;
    list.capacity = capacity;
    return list;
}

static constexpr u32 directory_walk_max_items = 64;
static constexpr u64 directory_relative_capacity = 1024;

struct directory_walk_state_t {
    directory_list_t* list;
    data_t extensions[directory_walk_max_items];
    data_t excluded[directory_walk_max_items];
    u32 extension_count;
    u32 excluded_count;
    u32 flags;
    char path[file_path_capacity];  // the level's path, terminated
    u8 relative[directory_relative_capacity];
};

static bool directory_name_in(data_t name, const data_t* items, u32 count) {
    for (u32 i = 0; i < count; i++) {
        if (data_equal(name, items[i])) return true;
    }
    return false;
}

static bool directory_add(directory_walk_state_t* walk, u64 relative_length, data_t name,
                          const os_directory_entry_t* entry) {
    directory_list_t* list = walk->list;
    u64 length = relative_length + 1 + name.used;
    if (length > 0xFFFF) return true;  // a path_lengths entry can't hold it: leave it out
    u8* path = data_push_string(list->text, walk->relative, relative_length);
    if (!path || !data_push_string(list->text, "/", 1) || !data_push_string(list->text, name.bytes, name.used)) {
        return false;
    }
    list->paths[list->count] = path;
    list->path_lengths[list->count] = (u16)length;
    list->sizes[list->count] = entry->size;
    list->times[list->count] = entry->time;
    list->is_directory[list->count] = entry->is_directory ? 1 : 0;
    list->count++;
    return true;
}

// One level; `path_length` and `relative_length` tell where this level's names go.
static void directory_walk_level(directory_walk_state_t* walk, u64 path_length, u64 relative_length) {
    directory_list_t* list = walk->list;
    os_directory_t directory = os_directory_open(walk->path);
    if (!directory) return;
    os_directory_entry_t entry;
    while (list->count < list->capacity && os_directory_next(directory, &entry)) {
        data_t name = data_from_size(text_length(entry.name), entry.name);
        if (directory_name_in(name, walk->excluded, walk->excluded_count)) continue;
        bool is_dot = data_equal(name, data_literal(".")) || data_equal(name, data_literal(".."));
        bool wanted;
        if (entry.is_directory) {
            wanted = (walk->flags & directory_walk_directories) && (!is_dot || (walk->flags & directory_walk_dot_entries));
        } else {
            wanted = (walk->flags & directory_walk_files) &&
                     (walk->extension_count == 0 ||
                      directory_name_in(file_extension(name), walk->extensions, walk->extension_count));
        }
        if (wanted && !directory_add(walk, relative_length, name, &entry)) break;

        bool descend = entry.is_directory && (walk->flags & directory_walk_recurse) && !is_dot &&
                       list->count < list->capacity;
        u64 deeper_path = path_length + 1 + name.used;
        u64 deeper_relative = relative_length + 1 + name.used;
        if (!descend || deeper_path >= file_path_capacity || deeper_relative > directory_relative_capacity) continue;
        walk->path[path_length] = '/';
        bytes_copy(walk->path + path_length + 1, name.bytes, name.used);
        walk->path[deeper_path] = 0;
        walk->relative[relative_length] = '/';
        bytes_copy(walk->relative + relative_length + 1, name.bytes, name.used);
        directory_walk_level(walk, deeper_path, deeper_relative);
        walk->path[path_length] = 0;
    }
    os_directory_close(directory);
}

void directory_walk(directory_list_t* list, data_t root, data_t extensions, data_t excluded, u32 flags) {
    if (!list->paths || root.used >= file_path_capacity) return;
    if (!(flags & (directory_walk_files | directory_walk_directories))) {
        flags |= directory_walk_files | directory_walk_directories;
    }
    // The state is large (paths and item lists); it lives in a block of its own so
    // that deep walks don't grow the stack.
    data_t memory = data_allocate(sizeof(directory_walk_state_t), nullptr);
    if (!memory.bytes) return;
    directory_walk_state_t* walk = (directory_walk_state_t*)memory.bytes;
    walk->list = list;
    walk->flags = flags;
    walk->extension_count = string_split_commas(extensions, walk->extensions, directory_walk_max_items);
    walk->excluded_count = string_split_commas(excluded, walk->excluded, directory_walk_max_items);
    u64 path_length = root.used;
    bytes_copy(walk->path, root.bytes, root.used);
    while (path_length > 1 && walk->path[path_length - 1] == '/') path_length--;
    walk->path[path_length] = 0;
    directory_walk_level(walk, path_length, 0);
    data_free(&memory);
}

// The list keeps each field in a column of its own; a swap moves a row in each.
template <typename T> static void column_swap(T* column, u64 a, u64 b) {
    T value = column[a];
    column[a] = column[b];
    column[b] = value;
}

static void directory_list_swap(directory_list_t* list, u64* keys, u64 a, u64 b) {
    column_swap(list->paths, a, b);
    column_swap(list->sizes, a, b);
    column_swap(list->path_lengths, a, b);
    column_swap(list->is_directory, a, b);
    column_swap(list->times, a, b);
    column_swap(keys, a, b);
}

static void directory_list_sort_range(directory_list_t* list, u64* keys, i64 low, i64 high) {
    while (low < high) {
        u64 pivot = keys[low + (high - low) / 2];
        i64 i = low - 1;
        i64 j = high + 1;
        for (;;) {
            do i++;
            while (keys[i] < pivot);
            do j--;
            while (keys[j] > pivot);
            if (i >= j) break;
            directory_list_swap(list, keys, (u64)i, (u64)j);
        }
        // Recurse into the smaller side so that the depth stays logarithmic.
        if (j - low < high - j) {
            directory_list_sort_range(list, keys, low, j);
            low = j + 1;
        } else {
            directory_list_sort_range(list, keys, j + 1, high);
            high = j;
        }
    }
}

void directory_list_sort(directory_list_t* list, u64* keys) {
    if (list->count > 1) directory_list_sort_range(list, keys, 0, (i64)list->count - 1);
}

u64 file_error_text(file_error_t error, char* buffer, u64 size) {
    if (size == 0) return 0;
    if (error && !file_reason.text && file_reason.system_error) {
        return os_error_text(file_reason.system_error, buffer, size);
    }
    const char* text = !error ? "no error" : file_reason.text ? file_reason.text : "the system refused";
    u64 length = min_of<u64>(text_length(text), size - 1);
    bytes_copy(buffer, text, length);
    buffer[length] = 0;
    return length;
}

void log_file_error(u64 channel, file_error_t error) {
    char reason[512];
    u64 length = file_error_text(error, reason, sizeof(reason));
    log_write_bytes(channel, reason, length);
}

void log_file_failure(const char* doing, data_t path, file_error_t error) {
    log_paragraph_start(log_user);
    log_write_c_string(log_user, doing);
    log_write(log_user, path);
    log_write_c_string(log_user, ": ");
    log_file_error(log_user, error);
    log_write_c_string(log_user, "\n");
}
