// The input state machine behind window_t: key bytes with their transition counts,
// typed text, mouse buttons and the event list, and the per-frame record that the
// widgets read. Backends and tests feed it; it touches no system call but the clock.
#include <cstring>

#include "base/log.h"
#include "base/text.h"
#include "platform/os.h"
#include "platform/window.h"
#include "profiler/profiler.h"

u32 input_scan_compress(u32 scan) {
    ASSERT(scan != 0);
    u32 result = scan;
    if (scan >= 0xE11D45) {
        result = scan - 14752875;
    } else if (scan >= 0xE010) {
        result = scan - 57236;
    }
    ASSERT(result < 256);
    return result;
}

void input_frame_begin(window_t* window) {
    window->resized = 0;
    window->text_count = 0;
    window->text_bytes_used = 0;
    window->wheel = 0;
    window->event_count = 0;
    window->events_dropped = 0;
    for (u32 i = 0; i < key_count; i++) window->keys[i] &= key_bit_down;
    for (u32 i = 0; i < 256; i++) window->scan_keys[i] &= key_bit_down;
}

// Six bits hold the count; a frame with more transitions than that keeps the last.
static u32 transition_count_add(u8 byte, u32 add) {
    u32 count = (byte >> 2) + add;
    return count > 63 ? 63 : count;
}

static input_event_t* event_append(window_t* window) {
    if (window->event_count >= input_event_capacity) {
        window->events_dropped += 1;
        return nullptr;
    }
    input_event_t* event = &window->events[window->event_count++];
    *event = input_event_t{};
    return event;
}

void input_button(window_t* window, u32 key, bool down, i32 mouse_x, i32 mouse_y, u32 modifiers, u32 time) {
    ASSERT(key >= key_mouse_left && key <= key_mouse_x2);
    u8 old = window->keys[key];
    window->keys[key] = key_set(down ? 1 : 0, 0, transition_count_add(old, 1));
    window->mouse_x = mouse_x;
    window->mouse_y = mouse_y;
    input_event_t* event = event_append(window);
    if (!event) return;
    event->type = input_event_button;
    event->key = (u8)key;
    event->flags = down ? 1 : 0;
    event->modifiers = (u8)modifiers;
    event->time = time;
    event->codepoint = (u32)mouse_x;
    event->mouse_y = (u32)mouse_y;
}

// Down, repeat and transitions of one key byte for one key message.
static u8 key_byte_update(u8 old, bool down, bool* repeat) {
    bool was_down = old & key_bit_down;
    *repeat = down && was_down;
    u32 transition = (down != was_down) ? 1 : 0;
    return key_set(down ? 1 : 0, *repeat ? 1 : 0, transition_count_add(old, transition));
}

static u32 key_generic(u32 key) {
    switch (key) {
        case key_left_shift:
        case key_right_shift:
            return key_shift;
        case key_left_control:
        case key_right_control:
            return key_control;
        case key_left_alt:
        case key_right_alt:
            return key_alt;
    }
    return key_none;
}

void input_key(window_t* window, u32 key, bool down, u32 scan, u32 modifiers, u32 time) {
    ASSERT(key < key_count);
    bool repeat = false;
    // The generic code goes first, as the system reports it, then the sided one.
    u32 generic = key_generic(key);
    if (generic != key_none) {
        bool generic_repeat = false;
        window->keys[generic] = key_byte_update(window->keys[generic], down, &generic_repeat);
    }
    window->keys[key] = key_byte_update(window->keys[key], down, &repeat);
    if (scan != 0) {
        u32 index = input_scan_compress(scan);
        bool scan_repeat = false;
        window->scan_keys[index] = key_byte_update(window->scan_keys[index], down, &scan_repeat);
    }
    input_event_t* event = event_append(window);
    if (!event) return;
    event->type = input_event_key;
    event->key = (u8)key;
    event->flags = (u8)((down ? 1 : 0) | (repeat ? 2 : 0));
    event->modifiers = (u8)modifiers;
    event->scan = scan;
    event->time = time;
}

void input_text(window_t* window, u32 codepoint) {
    if (!codepoint_is_valid(codepoint)) codepoint = codepoint_replacement;
    if (window->text_count < input_text_capacity) {
        u32 length = 0;
        utf_error_t error = 0;
        u8* first = window->text_bytes + window->text_bytes_used;
        utf8_encode(first, window->text_bytes + input_text_bytes_capacity, codepoint, &length, &error);
        ASSERT(error == 0);
        window->text_codepoints[window->text_count] = codepoint;
        window->text_sizes[window->text_count] = (u8)length;
        window->text_count += 1;
        window->text_bytes_used = (u8)(window->text_bytes_used + length);
    }
    if (window->event_count > 0) {
        input_event_t* last = &window->events[window->event_count - 1];
        if (last->type == input_event_key && (last->flags & 1)) last->codepoint = codepoint;
    }
}

void input_sync_keys(window_t* window, bool (*key_is_down)(u32 key, void* context), void* context) {
    PROFILE_ZONE(input_sync_keys);
    window->keys[0] = 0;
    for (u32 key = 1; key < key_count; key++) {
        window->keys[key] = key_is_down(key, context) ? key_bit_down : 0;
    }
    // Scan codes can't be asked for; none reads as held.
    for (u32 i = 0; i < 256; i++) window->scan_keys[i] = 0;
    window->text_count = 0;
    window->text_bytes_used = 0;
}

void input_reset(window_t* window) {
    for (u32 i = 0; i < key_count; i++) window->keys[i] = (u8)((window->keys[i] & key_bit_down) * 4);
    for (u32 i = 0; i < 256; i++) window->scan_keys[i] = (u8)((window->scan_keys[i] & key_bit_down) * 4);
    window->text_count = 0;
    window->text_bytes_used = 0;
}

void window_input_frame(const window_t* window, input_frame_t* input) {
    input->width = window->width;
    input->height = window->height;
    input->mouse_x = window->mouse_x;
    input->mouse_y = window->mouse_y;
    input->wheel = window->wheel;
    input->ticks = os_ticks();
    memcpy(input->keys, window->keys, sizeof(input->keys));
    input->text_count = window->text_count;
    memcpy(input->text_sizes, window->text_sizes, sizeof(input->text_sizes));
    memcpy(input->text_bytes, window->text_bytes, window->text_bytes_used);
    input->text_bytes_used = window->text_bytes_used;
}
