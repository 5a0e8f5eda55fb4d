// The input state machine on the stub window: transition counts, repeats, the
// generic and sided modifier keys, text, the event limit, and focus changes.
#include <gtest/gtest.h>

#include "platform/window.h"

namespace {

struct stub_t {
    window_t window = {};
    stub_t() { window_create_stub(&window, 640, 480); }
};

TEST(Input, KeyBytesCountTransitionsWithinAFrame) {
    stub_t s;
    window_t* w = &s.window;
    struct step_t {
        const char* what;
        std::vector<bool> downs;  // key messages of one frame
        bool down, pressed, released, repeated;
        u32 transitions;
    } steps[] = {
        {"press", {true}, true, true, false, false, 1},
        {"held, auto-repeat", {true, true}, true, false, false, true, 0},
        {"held, nothing", {}, true, false, false, false, 0},
        {"release", {false}, false, false, true, false, 1},
        // A press and release in one frame is seen only as a release.
        {"tap", {true, false}, false, false, true, false, 2},
        {"tap and press", {true, false, true}, true, true, false, false, 3},
    };
    for (const step_t& step : steps) {
        input_frame_begin(w);
        for (bool down : step.downs) input_key(w, key_letter_a, down, 0x1E, 0, 0);
        EXPECT_EQ(input_down(w, key_letter_a), step.down) << step.what;
        EXPECT_EQ(input_pressed(w, key_letter_a), step.pressed) << step.what;
        EXPECT_EQ(input_released(w, key_letter_a), step.released) << step.what;
        EXPECT_EQ(input_pressed_or_repeated(w, key_letter_a), step.pressed || step.repeated) << step.what;
        EXPECT_EQ(input_transitions(w, key_letter_a), step.transitions) << step.what;
        EXPECT_EQ(w->scan_keys[0x1E] & 1, step.down ? 1 : 0) << step.what;
    }
}

TEST(Input, SidedModifiersMoveTheGenericKey) {
    stub_t s;
    window_t* w = &s.window;
    input_frame_begin(w);
    input_key(w, key_right_control, true, 0xE01D, 0, 0);
    EXPECT_TRUE(input_pressed(w, key_control));
    EXPECT_TRUE(input_pressed(w, key_right_control));
    EXPECT_FALSE(input_down(w, key_left_control));
    EXPECT_EQ(w->scan_keys[input_scan_compress(0xE01D)] & 1, 1);
    input_frame_begin(w);
    input_key(w, key_right_control, false, 0xE01D, 0, 0);
    EXPECT_TRUE(input_released(w, key_control));
}

TEST(Input, TextAndEventsStopAtTheirLimits) {
    stub_t s;
    window_t* w = &s.window;
    input_frame_begin(w);
    for (u32 i = 0; i < 40; i++) {
        input_key(w, key_letter_x, true, 0x2D, 0, i);
        input_text(w, i % 2 ? 0x20AC : 'x');  // three bytes every other one
    }
    EXPECT_EQ(w->event_count, input_event_capacity);
    EXPECT_EQ(w->events_dropped, 8u);
    EXPECT_EQ(w->text_count, input_text_capacity);
    EXPECT_EQ(w->text_bytes_used, 16u + 16u * 3u);
    EXPECT_EQ(w->text_sizes[1], 3);
    EXPECT_EQ(w->events[0].codepoint, (u32)'x');
    EXPECT_EQ(w->events[1].codepoint, 0x20ACu);
    EXPECT_EQ(w->events[1].flags, 3);  // down and repeat
    input_frame_begin(w);
    EXPECT_EQ(w->event_count, 0u);
    EXPECT_EQ(w->text_count, 0u);
    EXPECT_EQ(w->events_dropped, 0u);
}

TEST(Input, ButtonsCarryTheMouseAndFocusLossReleasesEverything) {
    stub_t s;
    window_t* w = &s.window;
    input_frame_begin(w);
    input_button(w, key_mouse_left, true, 12, 34, input_modifier_left_shift, 5);
    ASSERT_EQ(w->event_count, 1u);
    EXPECT_EQ(w->events[0].type, input_event_button);
    EXPECT_EQ(w->events[0].codepoint, 12u);
    EXPECT_EQ(w->events[0].mouse_y, 34u);
    EXPECT_EQ(w->events[0].modifiers, input_modifier_left_shift);
    input_key(w, key_shift, true, 0x2A, 0, 0);

    input_frame_begin(w);
    input_reset(w);
    EXPECT_TRUE(input_released(w, key_mouse_left));
    EXPECT_TRUE(input_released(w, key_shift));
    EXPECT_FALSE(input_released(w, key_letter_a));

    // Focus back with the key held: down, but not pressed.
    input_frame_begin(w);
    input_sync_keys(w, [](u32 key, void*) { return key == key_letter_q; }, nullptr);
    EXPECT_TRUE(input_down(w, key_letter_q));
    EXPECT_FALSE(input_pressed(w, key_letter_q));
}

TEST(Input, ScanCodesCompressBelow256) {
    struct case_t {
        u32 scan, index;
    } cases[] = {{0x1E, 0x1E}, {0xE010, 124}, {0xE05D, 201}, {0xE11D45, 218}};
    for (const case_t& c : cases) EXPECT_EQ(input_scan_compress(c.scan), c.index) << std::hex << c.scan;
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // GL threads may run in this process
    EXPECT_DEATH(input_scan_compress(0), "");
}

}  // namespace
