// What the X server shows of the program's window, read back for the tests that
// drive the real program: grabs, waits on what is drawn, colour counts, and PNGs
// kept in the build folder to be looked at.
#pragma once

#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "platform/png.h"

struct image_t {
    int width = 0, height = 0;
    std::vector<unsigned char> rgba;  // rows top-down
    const unsigned char* at(int x, int y) const { return &rgba[((size_t)y * width + x) * 4]; }
};

// The window's pixels as the X server holds them.
inline image_t window_grab(Window window) {
    image_t image;
    Display* display = XOpenDisplay(nullptr);
    if (!display) return image;
    XWindowAttributes attributes;
    XImage* x = nullptr;
    if (XGetWindowAttributes(display, window, &attributes)) {
        x = XGetImage(display, window, 0, 0, attributes.width, attributes.height, AllPlanes, ZPixmap);
    }
    if (x) {
        image.width = x->width;
        image.height = x->height;
        image.rgba.resize((size_t)image.width * image.height * 4);
        for (int y = 0; y < image.height; y++) {
            for (int column = 0; column < image.width; column++) {
                unsigned long pixel = XGetPixel(x, column, y);
                unsigned char* p = &image.rgba[((size_t)y * image.width + column) * 4];
                p[0] = (unsigned char)((pixel & x->red_mask) >> 16);
                p[1] = (unsigned char)((pixel & x->green_mask) >> 8);
                p[2] = (unsigned char)(pixel & x->blue_mask);
                p[3] = 255;
            }
        }
        XDestroyImage(x);
    }
    XCloseDisplay(display);
    return image;
}

// Grabs until `done` holds for the image or the time runs out (the machine may be
// busy): the last grab either way.
template <typename predicate_t> image_t grab_until(Window window, predicate_t done, double seconds = 20) {
    image_t image;
    auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    do {
        image = window_grab(window);
        if (image.width == 1280 && image.height == 720 && done(image)) break;
        usleep(100000);
    } while (std::chrono::steady_clock::now() < end);
    return image;
}

inline void image_save(const image_t& image, const std::string& path) {
    if (image.rgba.empty()) return;
    png_write(data_from_size(path.size(), path.data()), image.rgba.data(), image.width, image.height, false);
}

// Pixels of a box (top-down coordinates) for which `hit` holds.
template <typename hit_t> int pixels_where(const image_t& image, int x0, int y0, int x1, int y1, hit_t hit) {
    int count = 0;
    for (int y = y0; y < y1 && !image.rgba.empty(); y++) {
        for (int x = x0; x < x1; x++) count += hit(image.at(x, y), x, y);
    }
    return count;
}

// Pixels of a box that differ between two images by more than `tolerance` in a
// channel.
inline int changed(const image_t& a, const image_t& b, int x0, int y0, int x1, int y1, int tolerance = 0) {
    if (a.rgba.empty() || b.rgba.empty()) return -1;
    return pixels_where(a, x0, y0, x1, y1, [&](const unsigned char* p, int x, int y) {
        const unsigned char* q = b.at(x, y);
        return abs(p[0] - q[0]) > tolerance || abs(p[1] - q[1]) > tolerance || abs(p[2] - q[2]) > tolerance;
    });
}

// Pixels of a box close to a colour.
inline int near_colour(const image_t& image, int x0, int y0, int x1, int y1, int r, int g, int b) {
    return pixels_where(image, x0, y0, x1, y1, [&](const unsigned char* p, int, int) {
        return abs(p[0] - r) < 6 && abs(p[1] - g) < 6 && abs(p[2] - b) < 6;
    });
}

// Bright pixels of a box: text and icons drawn in white or light grey.
inline int bright(const image_t& image, int x0, int y0, int x1, int y1) {
    return pixels_where(image, x0, y0, x1, y1,
                        [](const unsigned char* p, int, int) { return p[0] > 170 && p[1] > 170 && p[2] > 170; });
}
