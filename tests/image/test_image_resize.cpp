// The area-averaging scaler and the icon strip: sizes that follow the source, means
// that keep white white, a same-size copy, gamma after the mean, and icons that
// take exactly their own columns.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "image/atlas.h"
#include "image/icon_masks.h"
#include "image/image_resize.h"

namespace {

struct resized_t {
    std::vector<u8> pixels;
    u32 width, height, error;
};

resized_t resize(const std::vector<u8>& source, u32 width, u32 height, u32 channels, u32 target_width,
                 u32 target_height = 0, f32 gamma = 1, u32 swap = 0) {
    resized_t r = {{}, target_width, target_height, 0};
    image_resize(source.data(), width, height, nullptr, &r.width, &r.height, channels, swap, gamma, &r.error);
    r.pixels.assign((size_t)r.width * r.height * channels, 0xAB);
    image_resize(source.data(), width, height, r.pixels.data(), &r.width, &r.height, channels, swap, gamma,
                 &r.error);
    return r;
}

std::vector<u8> noise(u32 bytes, u32 seed) {
    std::vector<u8> v(bytes);
    for (u8& b : v) {
        seed = seed * 1103515245 + 12345;
        b = (u8)(seed >> 16);
    }
    return v;
}

TEST(ImageResize, SizesFollowTheSource) {
    struct case_t {
        u32 source_width, source_height, target_width, target_height;
        u32 width, height, error;
    } cases[] = {
        {64, 64, 10, 0, 10, 10, 0},
        {200, 100, 50, 0, 50, 25, 0},
        {100, 200, 0, 50, 25, 50, 0},
        {100, 200, 50, 7, 50, 100, 0},  // both given: the width wins
        {3, 2, 2, 0, 2, 1, 0},          // 1.33 is cut to 1
        {640, 480, 1, 0, 1, 0, 0},      // a wide image is no row high at width 1
        {10, 10, 20, 0, 20, 20, 0},
        {10, 10, 0, 0, 0, 0, image_resize_error_no_size},
    };
    for (const case_t& c : cases) {
        u32 width = c.target_width, height = c.target_height, error = 0;
        image_resize(nullptr, c.source_width, c.source_height, nullptr, &width, &height, 1, 0, 1, &error);
        EXPECT_EQ(width, c.width) << c.source_width << "x" << c.source_height << " to " << c.target_width;
        EXPECT_EQ(height, c.height) << c.source_width << "x" << c.source_height << " to " << c.target_width;
        EXPECT_EQ(error, c.error) << c.source_width << "x" << c.source_height << " to " << c.target_width;
    }
}

TEST(ImageResize, ErrorsLeaveTheTargetAlone) {
    std::vector<u8> source(16, 255), target(16, 7);
    struct case_t {
        u32 channels, error_before, error_after;
    } cases[] = {{0, 0, image_resize_error_channels}, {5, 0, image_resize_error_channels}, {1, 9, 9}};
    for (const case_t& c : cases) {
        u32 width = 2, height = 0, error = c.error_before;
        image_resize(source.data(), 4, 4, target.data(), &width, &height, c.channels, 0, 1, &error);
        EXPECT_EQ(error, c.error_after) << c.channels;
        EXPECT_EQ(target, std::vector<u8>(16, 7)) << c.channels;
    }
}

TEST(ImageResize, WhiteStaysWhite) {
    // Accumulated weights a little off 1 must round back to 255, not truncate to 254.
    struct case_t {
        u32 width, height, channels, target_width;
    } cases[] = {{64, 64, 1, 10}, {64, 64, 1, 12}, {7, 3, 4, 5}, {100, 37, 3, 13}, {3, 3, 2, 7}, {1000, 999, 1, 3}};
    for (const case_t& c : cases) {
        std::vector<u8> white((size_t)c.width * c.height * c.channels, 255);
        resized_t r = resize(white, c.width, c.height, c.channels, c.target_width);
        ASSERT_FALSE(r.pixels.empty());
        EXPECT_EQ(r.pixels, std::vector<u8>(r.pixels.size(), 255))
            << c.width << "x" << c.height << "x" << c.channels << " to " << c.target_width;
    }
}

TEST(ImageResize, SameSizeReproducesTheSource) {
    for (u32 channels = 1; channels <= 4; channels++) {
        std::vector<u8> source = noise(17 * 9 * channels, channels);
        resized_t r = resize(source, 17, 9, channels, 17);
        EXPECT_EQ(r.height, 9u);
        EXPECT_EQ(r.pixels, source) << channels << " channels";
    }
}

TEST(ImageResize, PixelsAreTheMeansOfWhatTheyCover) {
    // A narrow image to width 1: one column, each pixel the mean of a 6 by 6 block.
    std::vector<u8> tall(6 * 12);
    for (u32 row = 0; row < 12; row++) {
        for (u32 column = 0; column < 6; column++) tall[row * 6 + column] = (u8)(row < 6 ? column * 10 : 200);
    }
    resized_t column = resize(tall, 6, 12, 1, 1);
    EXPECT_EQ(column.width, 1u);
    EXPECT_EQ(column.pixels, (std::vector<u8>{25, 200}));

    // A checkerboard halves to its mean, rounded up at .5.
    resized_t checker = resize({0, 255, 255, 0}, 2, 2, 1, 1);
    EXPECT_EQ(checker.pixels, (std::vector<u8>{128}));

    // Three to two: the middle pixel is shared half and half.
    resized_t thirds = resize({0, 90, 180, 0, 90, 180, 0, 90, 180}, 3, 3, 1, 2);
    EXPECT_EQ(thirds.pixels, (std::vector<u8>{30, 150, 30, 150}));

    // Channels stay apart.
    resized_t mixed = resize({10, 20, 30, 50, 60, 70, 10, 20, 30, 50, 60, 70}, 2, 2, 3, 1);
    EXPECT_EQ(mixed.pixels, (std::vector<u8>{30, 40, 50}));
}

TEST(ImageResize, GammaComesAfterTheMeanAndSwapAfterBoth) {
    resized_t plain = resize({0, 255, 255, 0}, 2, 2, 1, 1, 0, 2.2f);
    u8 expected = (u8)std::lround(std::exp(2.2 * std::log(127.5 / 255.0)) * 255.0);
    EXPECT_EQ(plain.pixels, (std::vector<u8>{expected}));
    // Gamma on each pixel first would give the mean of 0 and 255 again.
    EXPECT_NE(expected, 128);

    resized_t swapped = resize({10, 20, 30, 40}, 1, 1, 4, 1, 0, 1, 1);
    EXPECT_EQ(swapped.pixels, (std::vector<u8>{30, 20, 10, 40}));
    resized_t two = resize({10, 20}, 1, 1, 2, 1, 0, 1, 1);
    EXPECT_EQ(two.pixels, (std::vector<u8>{10, 20}));
}

// Each icon is a square right behind the one before it, the strip as wide as all of
// them and as high as the tallest.
TEST(IconAtlas, IconsStandSideBySideInTheirOwnColumns) {
    atlas_t atlas = icon_atlas_create();
    EXPECT_EQ(atlas.channels, 1u);
    auto column_of = [&](f32 u) { return (u32)std::lround(u * atlas.width); };
    u32 x = 0, tallest = 0;
    for (u32 i = 0; i < icon_count; i++) {
        const f32* uv = atlas.images + 4 * i;
        u32 left = column_of(uv[0]), right = column_of(uv[2]);
        u32 height = (u32)std::lround(uv[3] * atlas.height);
        EXPECT_EQ(left, x) << i;
        EXPECT_EQ(uv[1], 0) << i;
        EXPECT_EQ(right - left, height) << i;
        // Below a smaller icon the strip stays empty.
        for (u32 row = height; row < atlas.height; row++) {
            for (u32 column = left; column < right; column++) {
                EXPECT_EQ(atlas.pixels[row * atlas.width + column], 0) << i << " at " << column << ", " << row;
            }
        }
        x = right;
        tallest = std::max(tallest, height);
    }
    EXPECT_EQ(atlas.width, x);
    EXPECT_EQ(atlas.height, tallest);
    // The 10 by 10 check mark is the mask scaled alone: exactly its 10 columns.
    u32 left = column_of(atlas.images[4 * icon_check_10]);
    resized_t check = resize(std::vector<u8>(icon_mask_check, icon_mask_check + icon_mask_bytes), 64, 64, 1, 10);
    ASSERT_EQ(check.width, 10u);
    for (u32 row = 0; row < 10; row++) {
        for (u32 column = 0; column < 10; column++) {
            EXPECT_EQ(atlas.pixels[row * atlas.width + left + column], check.pixels[row * 10 + column])
                << column << ", " << row;
        }
    }
}

TEST(IconAtlas, AnImageThatCannotBeScaledTakesNoRoom) {
    std::vector<u8> white(64 * 64, 255);
    atlas_source_t sources[3] = {
        {white.data(), 64, 64, 8, 8},
        {white.data(), 64, 64, 300, 300},  // more than one icon may hold
        {white.data(), 64, 64, 4, 4},
    };
    atlas_t atlas = atlas_create(sources, 3, 1);
    EXPECT_EQ(atlas.width, 312u);
    EXPECT_EQ(atlas.images[4], 0);
    EXPECT_EQ(atlas.images[6], 0);
    EXPECT_FLOAT_EQ(atlas.images[8] * 312, 8);
    for (u32 column = 0; column < 14; column++) EXPECT_EQ(atlas.pixels[column], column < 12 ? 255 : 0) << column;
}

}  // namespace
