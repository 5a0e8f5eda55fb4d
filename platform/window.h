// The window, its input state and its OpenGL context: the one header through which
// the program sees them. window_t is filled by window_handle_messages each frame.
// The GL functions live apart in gl_functions.h, for the renderer and the backend.
#pragma once

#include "base/data.h"
#include "platform/window_keys.h"

// Key byte: bit 0 down at the end of the frame, bit 1 auto-repeat happened, bits 2
// to 7 the transitions of this frame.
enum : u8 {
    key_bit_down = 1,
    key_bit_repeat = 2,
};

enum : u8 {
    input_event_button = 1,
    input_event_key = 2,
};

enum : u8 {
    input_modifier_left_control = 1,
    input_modifier_right_control = 2,
    input_modifier_left_alt = 4,
    input_modifier_right_alt = 8,
    input_modifier_left_shift = 16,
    input_modifier_right_shift = 32,
    input_modifier_left_win = 64,
    input_modifier_right_win = 128,
};

struct input_event_t {
    u8 type;  // input_event_button or input_event_key
    u8 key;
    u8 flags;  // bit 0 down, bit 1 repeat
    u8 modifiers;
    u32 scan;       // 0 for a button
    u32 time;       // milliseconds
    u32 codepoint;  // for a button the mouse x
    u32 mouse_y;    // for a button the mouse y
    u8 has_text;    // always 0
};

constexpr u32 input_event_capacity = 32;
constexpr u32 input_text_capacity = 32;
constexpr u32 input_text_bytes_capacity = 128;
constexpr u32 window_cursor_count = 5;

enum : u32 {
    window_cursor_arrow = 0,
    window_cursor_hand = 1,
    window_cursor_ibeam = 2,
    window_cursor_resize_ns = 3,
    window_cursor_resize_we = 4,
};

struct window_t {
    u32 running;
    u32 quit_requested;
    u32 had_focus;  // set at the first focus change, never cleared

    i32 x, y;  // client area's lower left on the screen, y up
    i32 width, height;
    u32 resized;  // set on a change, cleared at each drain

    i32 screen_width, screen_height;
    u16 refresh_rate;

    // Input, rebuilt by window_handle_messages.
    u8 keys[key_count];
    u8 scan_keys[256];
    u32 text_codepoints[input_text_capacity];
    u32 text_count;
    u8 text_bytes[input_text_bytes_capacity];
    u8 text_sizes[input_text_capacity];
    u8 text_bytes_used;
    i32 mouse_x, mouse_y;  // y up
    f32 wheel;             // notches, positive away from the user
    input_event_t events[input_event_capacity];
    u32 event_count;
    u32 events_dropped;  // events that came after the list was full this frame

    void* handle;  // the platform window, null for the stub
    void* instance;
    void* device_context;
    void* render_context;

    void* cursor_current;
    void* cursors[window_cursor_count];  // arrow, hand, I-beam, resize north-south, resize west-east

    u32 double_click_time;  // milliseconds
    u32 wheel_lines;
    u32 caret_blink_time;  // milliseconds
    u32 timer;

    // Whether the buffer swap waits for the display, as a compositor makes it; when it
    // doesn't, the frame loop paces itself.
    u32 swap_paced;
    // Whether the frame is shown by copying rectangles of the back buffer to the
    // window, which never exchanges the buffers: the back buffer then keeps its
    // pixels from frame to frame, and a frame need draw only what changed.
    u32 back_buffer_kept;
    // Set when showing a frame left the back buffer without its pixels; the frame
    // loop clears it.
    u32 back_buffer_lost;
};

// What the widgets read of one frame: a copy of the input state taken after the
// drain, with the client size and the clock. The UI never reads window_t itself, and
// tests write these records frame after frame.
struct input_frame_t {
    i32 width, height;     // client size
    i32 mouse_x, mouse_y;  // y up
    f32 wheel;
    u64 ticks;  // os_ticks() when the record was taken
    u8 keys[key_count];
    u32 text_count;
    u8 text_sizes[input_text_capacity];
    u8 text_bytes[input_text_bytes_capacity];
    u8 text_bytes_used;
};

// window_create flags.
enum : u32 {
    window_flag_popup = 1,
    window_flag_maximized = 2,
};
constexpr i32 window_position_centred = 0x7fffffff;

// window_handle_messages flags.
enum : u32 {
    window_messages_wait = 1,
    window_messages_wait_ignores_mouse_move = 2,
};

// Connects to the display ahead of window_create, which otherwise does it itself:
// the start-up thread's work then doesn't compete with the connection for the
// processor. A failure is told by the window_create that follows.
void window_system_start();
// Opens the window with an OpenGL 3.3 core debug context and loads the GL table.
// On failure the messages go to log channel 1 and to standard error, and `running`
// stays 0.
void window_create(window_t* window, data_t title, i32 width, i32 height, i32 x, i32 y, u32 flags);
// A window_t without a window for tests: the sizes are set, running is 1, and input
// comes only from the input_* functions below, which the test calls between
// frames, starting with input_frame_begin.
void window_create_stub(window_t* window, i32 width, i32 height);
void window_handle_messages(window_t* window, u32 flags);
// Shows the frame. With a kept back buffer only `rects` are copied to the window
// (x, y, width, height each, y up; none when `count` is 0), or the whole back buffer
// when `rects` is null, and always at the first frame, after a resize and when the
// window system lost the window's pixels; otherwise the buffers are swapped.
void window_swap_buffers(window_t* window, const i32 (*rects)[4] = nullptr, u32 count = 0);
void window_set_cursor(window_t* window, void* cursor);
void window_set_swap_interval(i32 interval);
// Ends a blocking wait of the main thread; callable from any thread.
void window_wake();
// What the close button does, from any thread: the next drain of messages sets
// `quit_requested`, and the wait for messages ends now.
void window_close_request();

// The frame's input record of `window`, its clock read now.
void window_input_frame(const window_t* window, input_frame_t* input);
// Shows cursor `kind` (window_cursor_*) while the mouse is over the client area.
void window_apply_cursor(window_t* window, u32 kind);

// The clipboard. paste converts into the free end of `text` as far as it fits and
// returns a view of the new bytes, empty on any failure; copy returns 1 on success.
data_t clipboard_paste(data_t* text, bool zero_terminate);
u32 clipboard_copy(data_t text);

// Input state queries, on a window_t or on a frame's record: both keep the key
// bytes in `keys`.
template <typename input_t> inline bool input_down(const input_t* input, u32 key) {
    return input->keys[key] & key_bit_down;
}
template <typename input_t> inline u32 input_transitions(const input_t* input, u32 key) {
    return input->keys[key] >> 2;
}
template <typename input_t> inline bool input_pressed(const input_t* input, u32 key) {
    return input_down(input, key) && input_transitions(input, key) > 0;
}
template <typename input_t> inline bool input_released(const input_t* input, u32 key) {
    return !input_down(input, key) && input_transitions(input, key) > 0;
}
template <typename input_t> inline bool input_pressed_or_repeated(const input_t* input, u32 key) {
    return input_pressed(input, key) || (input->keys[key] & key_bit_repeat);
}
// Pressed in this frame, or tapped: down and up again before the frame ran, which a
// quick key press often is. Keys that act once use this, so no tap is lost.
template <typename input_t> inline bool input_struck(const input_t* input, u32 key) {
    return input_pressed(input, key) || input_transitions(input, key) >= 2;
}
template <typename input_t> inline bool input_struck_or_repeated(const input_t* input, u32 key) {
    return input_struck(input, key) || (input->keys[key] & key_bit_repeat);
}

// The input state machine, fed by the backend (and by tests through the stub).
inline u8 key_set(u32 down, u32 repeat, u32 count) { return (u8)(down | repeat * 2 | count * 4); }
u32 input_scan_compress(u32 scan);
// Start of a drain: sizes flag, text, wheel and events cleared; key bytes keep only
// their down bit.
void input_frame_begin(window_t* window);
void input_button(window_t* window, u32 key, bool down, i32 mouse_x, i32 mouse_y, u32 modifiers, u32 time);
// One key message: `down` false is a release; a down on a key already down is a
// repeat. `scan` is a PC scan code (0 when unknown).
void input_key(window_t* window, u32 key, bool down, u32 scan, u32 modifiers, u32 time);
void input_text(window_t* window, u32 codepoint);
// Focus gained: the keys as the system holds them now, no transitions counted.
// `key_is_down` answers for a key code.
void input_sync_keys(window_t* window, bool (*key_is_down)(u32 key, void* context), void* context);
// Focus lost: every held key reads as released in the next frame.
void input_reset(window_t* window);
