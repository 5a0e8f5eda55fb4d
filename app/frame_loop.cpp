// Start-up of the window, fonts and renderer, and the frame loop: wait for input
// unless a frame was asked for, pace when nothing else does, drain, draw, bake new
// glyphs, render, swap, empty the frame's memory.
#include "app/frame_loop.h"

#include <cmath>
#include <cstring>

#include "views/panel.h"
#include "app/update.h"
#include "base/file.h"
#include "base/format.h"
#include "base/log.h"
#include "base/text.h"
#include "image/image_query.h"
#include "layout/layout.h"
#include "platform/fonts.h"
#include "platform/os.h"
#include "platform/png.h"
#include "profiler/profiler.h"
#include "ui/ui_core.h"
#include "views/demo_panel.h"
#include "views/links.h"
#include "views/panel_draw.h"
#include "views/window_content.h"

u64 frame_counter;

void frame_window_create(window_t* window) {
    u8 title_buffer[64];
    data_t title = data_make(sizeof(title_buffer), 0, title_buffer);
    data_push_string(&title, "Newsloom - ", 11);
    title.used += format_u64(title.bytes + title.used, title.reserved - title.used, 0, 0, ' ', 0);
    data_push_string(&title, ".", 1);
    title.used += format_u64(title.bytes + title.used, title.reserved - title.used, 3, 0, ' ', 0);
    window_create(window, title, 1280, 720, window_position_centred, window_position_centred, 0);
    window_set_swap_interval(1);
}

// The whole file, or an empty block when there is none.
static data_t font_file_read(const char* family, const char* fallback_family, file_error_t* error) {
    char path[4096];
    if (!font_file_find(family, path, sizeof(path)) && !font_file_find(fallback_family, path, sizeof(path))) {
        log_write_c_string(log_main, "No font file for ");
        log_write_c_string(log_main, family);
        log_write_c_string(log_main, "\n");
        return data_t{};
    }
    data_t name = data_from_size(text_length(path), path);
    data_t file = file_read_all(name, false, error);
    return file;
}

void frame_fonts_create(font_set_t* fonts, data_t font_memory) {
    // One error shared by both reads; a missing file gives an empty font, not a stop.
    file_error_t error = 0;
    data_t text_face = font_file_read("Verdana", "DejaVu Sans", &error);
    error = 0;
    data_t fixed_face = font_file_read("Lucida Console", "DejaVu Sans Mono", &error);
    if (error) fixed_face = data_t{};
    font_set_create(fonts, font_memory);
    font_load(fonts, text_face, 14.0f, 0);
    font_load(fonts, text_face, 16.0f, 0);
    font_load(fonts, text_face, 20.0f, 0);
    font_load(fonts, fixed_face, 12.0f, 1);
}

// The widgets go without icons rather than stop the program when their strip had no
// memory or the driver refuses its texture.
static u32 icon_texture_create(renderer_t* render, atlas_t* icons) {
    u32 texture = 0;
    if (icons->pixels) {
        texture = render_texture_create(render, icons->pixels, (i32)icons->width, (i32)icons->height,
                                        (u32)icons->channels, texture_linear);
    }
    if (!texture) {
        atlas_free(icons);
        log_paragraph_start(log_user);
        log_write_c_string(log_user, "The widgets' icons could not be made into a texture; they are not shown.");
    }
    return texture;
}

// The driver's programs are kept with the user's other caches, as the driver keeps
// its own: they are no data of the user's.
static void program_cache_attach(renderer_t* render) {
    char path[4096];
    const char name[] = "/newsloom/programs.bin";
    if (!os_cache_folder(path, sizeof(path) - sizeof(name))) return;
    memcpy(path + text_length(path), name, sizeof(name));
    gl_program_cache_use(render, path);
}

void frame_render_create(renderer_t* render, draw_t* draw, window_t* window, font_set_t* fonts, atlas_t* icons) {
    gl_renderer_create(render, window->width, window->height, renderer_alpha_blending,
                       window->handle ? render_backend_gl : render_backend_stub);
    if (window->handle) program_cache_attach(render);
    // Where the window keeps the back buffer's pixels, a frame draws only what changed.
    render->damage.enabled = window->back_buffer_kept;
    // Atlases grow up to what the context takes, within a size worth their memory.
    if (window->handle) fonts->atlas_limit = (u16)min_of(gl_texture_size_limit(), 4096u);
    u32 icon_texture = icon_texture_create(render, icons);
    draw_create(draw, render, fonts, window->screen_width, window->screen_height, icon_texture);
    panel_pictures_attach(render);
}

// Each input event of the frame on the main log: what reached the window, for
// tests and for a look with -log.
static void input_log(const window_t* window) {
    for (u32 i = 0; i < window->event_count; i++) {
        const input_event_t* event = &window->events[i];
        log_write_c_string(log_main, event->type == input_event_button ? "Input: button " : "Input: key ");
        log_write_u64(log_main, event->key);
        log_write_c_string(log_main, (event->flags & 1) ? " down" : " up");
        if (event->type == input_event_button) {
            log_write_c_string(log_main, " at ");
            log_write_u64(log_main, event->codepoint);
            log_write_c_string(log_main, ", ");
            log_write_u64(log_main, event->mouse_y);
        }
        log_write_c_string(log_main, "\n");
    }
    if (window->text_count) {
        log_write_c_string(log_main, "Input: text ");
        log_write_bytes(log_main, window->text_bytes, window->text_bytes_used);
        log_write_c_string(log_main, "\n");
    }
    if (window->wheel != 0) {
        log_write_c_string(log_main, "Input: wheel ");
        log_write_i64(log_main, (i64)window->wheel);
        log_write_c_string(log_main, "\n");
    }
}

// The window's content: the widgets take this frame's input and draw.
static void frame_content(frame_loop_t* loop) {
    window_t* window = loop->window;
    input_log(window);
    input_frame_t input;
    window_input_frame(window, &input);
    ui_t* ui = loop->ui;
    if (loop->demo) {
        ui_frame_begin(ui, &input);
        demo_panel_draw(ui, loop->demo, &loop->app->scratch, ui->screen);
        ui_apply_cursor(ui);
    } else {
        window_content(loop->app, loop->reader, &input);
    }
    // An arrow held on a scroll bar repeats with time, not with input.
    if (ui->owner_count > 0 && loop->panel) loop->panel->frame_requested = 1;
}

static void first_frame_write(frame_loop_t* loop) {
    window_t* window = loop->window;
    u64 size = (u64)window->width * window->height * 4;
    data_t pixels = data_allocate(size);
    if (!pixels.bytes) return;
    gl_read_framebuffer(0, 0, window->width, window->height, pixels.bytes, size);
    if (!png_write(loop->first_frame_png, pixels.bytes, window->width, window->height, true)) {
        log_write_c_string(log_main, "Could not write the first frame.\n");
    }
    data_free(&pixels);
}

static void first_frame_time_write(frame_loop_t* loop) {
    u8 text[32];
    u64 size = format_u64(text, sizeof(text), os_ticks(), 0, ' ', 0);
    file_error_t error = 0;
    file_write_all(loop->first_frame_time, text, size, true, &error);
    if (error) log_write_c_string(log_main, "Could not write the time of the first frame.\n");
}

void frame_loop_start(frame_loop_t* loop) {
    window_t* window = loop->window;
    // A window that failed to open has said so; no frame runs.
    if (!window->running) return;
    // Pacing by hand is only for a display where the swap doesn't wait.
    loop->composition_enabled = window->swap_paced != 0;
    ASSERT(window->refresh_rate != 0);
    loop->frame_period_ms = 1000 / window->refresh_rate;
    loop->timer_frequency = (f64)os_tick_frequency();
    loop->work_start = 0;
    loop->frame_end = 0;
}

void frame_run(frame_loop_t* loop) {
    window_t* window = loop->window;
    app_t* app = loop->app;

    PROFILE_FRAME(frame);
    loop->frame_start = os_ticks();
    log_write_c_string(log_main, "\nFrame start: ");
    log_write_u64(log_main, frame_counter);
    log_write_c_string(log_main, "\n");

    bool wait_for_message = true;
    if (loop->panel && loop->panel->frame_requested) {
        wait_for_message = false;
        loop->panel->frame_requested = 0;
    }
    window_handle_messages(window, wait_for_message ? (u32)window_messages_wait : 0u);
    loop->messages_end = os_ticks();

    // The first frame has no frame before it to pace against: it shows at once. A
    // kept back buffer is shown by a copy that never waits for the display, so a
    // frame that no input began (a held widget, a view that asked for one) is
    // paced here even where a compositor would pace the swap.
    bool paced = loop->composition_enabled && !(window->back_buffer_kept && !wait_for_message);
    if (!paced && frame_counter != 0) {
        f64 frequency = loop->timer_frequency;
        u64 work_ms = (u64)ceil((f64)(loop->frame_end - loop->work_start) * 1000.0 / frequency);
        u64 message_ms = (u64)ceil((f64)(loop->messages_end - loop->frame_start) * 1000.0 / frequency);
        u64 spent_ms = min_of(work_ms + message_ms, loop->frame_period_ms);
        PROFILE_ZONE(sleep);
        os_sleep_ms(loop->frame_period_ms - spent_ms);
    }

    loop->work_start = os_ticks();
    {
        PROFILE_ZONE(not_messages);
        if (window->quit_requested) window->running = 0;

        draw_frame_begin(loop->draw, window->width, window->height, window->resized && window->had_focus);

        image_queries_sweep();
        {
            PROFILE_ZONE(queries_check);
            queries_drain(app, loop->reader);
        }
        // Queued links are opened when the window is closing, so that none is lost.
        if (!window->running && loop->reader) link_queue_open_all(loop->reader, 1);
        if (!(window->width <= 0 && window->height == 0)) frame_content(loop);
        damage_t* damage = &loop->draw->renderer->damage;
        // A resize may leave the back buffer without its pixels, and so may showing
        // the frame before.
        if (window->resized || window->back_buffer_lost) damage->lost = 1;
        window->back_buffer_lost = 0;
        {
            PROFILE_ZONE(render);
            draw_frame_end(loop->draw);
        }
        if (frame_counter == 0 && loop->first_frame_png.used) first_frame_write(loop);
        window_swap_buffers(window, damage->whole ? nullptr : damage->shown, damage->shown_count);
        if (frame_counter == 0 && loop->first_frame_time.used) first_frame_time_write(loop);
        if (loop->first_frame_shown) {
            void (*shown)(void*) = loop->first_frame_shown;
            loop->first_frame_shown = nullptr;
            shown(loop->first_frame_context);
        }
    }
    frame_counter += 1;
    data_clear(&app->scratch);
    loop->frame_end = os_ticks();
}

void frame_loop_run(frame_loop_t* loop) {
    while (loop->window->running) frame_run(loop);
}
