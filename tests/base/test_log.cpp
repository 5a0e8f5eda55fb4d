// The ring logs: allocation on first write, end and wrap marks, numbers and the
// copy of a task's text across a wrap. Channels 8 and up are the tests' own.
#include <gtest/gtest.h>

#include <string.h>
#include <unistd.h>

#include <string>

#include "base/file.h"
#include "base/log.h"
#include "file_support.h"

static std::string channel_text(u64 channel) {
    log_channel_t* log = log_channel(channel);
    return std::string((char*)log->text.bytes, log->text.used);
}

static bool end_mark_follows(u64 channel) {
    log_channel_t* log = log_channel(channel);
    return memcmp(log->text.bytes + log->text.used, "## Log end ##\n", 14) == 0;
}

TEST(Log, FirstWriteAllocatesAndMarksTheEnd) {
    EXPECT_EQ(log_channel(8)->text.reserved, 0u);
    log_write_c_string(8, "hello ");
    log_write(8, data_literal("world\n"));
    EXPECT_EQ(channel_text(8), "hello world\n");
    EXPECT_TRUE(end_mark_follows(8));
}

TEST(Log, NumbersIndentationAndValues) {
    log_write_u64(9, 42);
    log_write_bytes(9, " ", 1);
    log_write_i64(9, -7);
    log_write_bytes(9, " ", 1);
    log_write_u64(9, 0xAB, 0, ' ', format_hex);
    log_write_bytes(9, "\n", 1);
    log_indent_more(9);
    log_indent_more(9);
    log_indent_more(9);
    log_write_indentation(9);
    log_write_c_string(9, "|");
    log_indent_less(9);
    log_indent_less(9);
    log_write_value(9, 12, true, "count: ", true);
    log_write_value(9, 3, false, nullptr, false);
    log_indent_less(9);
    EXPECT_EQ(channel_text(9), "42 -7 0xab\n            |    count: 12\n3");
    EXPECT_TRUE(end_mark_follows(9));
}

TEST(Log, WrapsWhenTheWriteAndEndMarkReachTheEnd) {
    const u64 channel = 10;
    log_channel_t* log = log_channel(channel);
    log_write_c_string(channel, "old");
    // Fill so that the next write of 100 bytes would exactly reach reserved with
    // the end mark: equality wraps.
    u64 filler = log_block_size - log->text.used - 100 - 14;
    std::string big(filler, 'x');
    log_write_bytes(channel, big.data(), big.size());
    EXPECT_EQ(log->overflowed, 0u);
    EXPECT_EQ(log->wraps, 0u);
    u64 before = log->text.used;
    std::string hundred(100, 'n');
    log_write_bytes(channel, hundred.data(), hundred.size());
    EXPECT_EQ(log->overflowed, 1u);
    EXPECT_EQ(log->wraps, 1u);
    EXPECT_EQ(log->overflow_end, before);
    EXPECT_EQ(channel_text(channel), "## Log overflowed ##\n" + hundred);
    EXPECT_TRUE(end_mark_follows(channel));
}

TEST(Log, CopySinceFollowsTheTextAcrossAWrap) {
    const u64 channel = 11;
    u8 target_bytes[256];
    data_t target = data_make(sizeof(target_bytes), 0, target_bytes);

    u8* position = nullptr;  // before the first write
    log_write_c_string(channel, "first");
    EXPECT_EQ(log_copy_since(channel, position, &target), 5u);
    EXPECT_EQ(std::string((char*)target.bytes, target.used), "first");

    log_channel_t* log = log_channel(channel);
    std::string big(log_block_size - log->text.used - 14 - 30, 'x');
    log_write_bytes(channel, big.data(), big.size());
    position = log->text.bytes + log->text.used;
    log_write_c_string(channel, "tail of old;");
    log_write_c_string(channel, std::string(40, 'y').c_str());  // wraps
    ASSERT_EQ(log->overflowed, 1u);
    target.used = 0;
    u64 copied = log_copy_since(channel, position, &target);
    EXPECT_EQ(std::string((char*)target.bytes, copied),
              "tail of old;## Log overflowed ##\n" + std::string(40, 'y'));
}

TEST(Log, SaveWritesTheTextOrTheWholeRing) {
    temp_folder_t folder;
    std::string path = folder.path + "/log.txt";
    data_t path_text = data_from_size(path.size(), path.data());

    log_write_c_string(12, "saved line\n");
    log_save(12, path_text);
    file_error_t error = 0;
    data_t saved = file_read_all(path_text, false, &error);
    EXPECT_EQ(error, 0u);
    EXPECT_EQ(std::string((char*)saved.bytes, saved.used), "saved line\n");
    data_free(&saved);

    log_channel_t* log = log_channel(13);
    log_write_c_string(13, "a");
    std::string big(log_block_size - 20, 'z');
    log_write_bytes(13, big.data(), big.size());
    log_write_c_string(13, "newest");
    ASSERT_EQ(log->overflowed, 1u);
    log_save(13, path_text);
    error = 0;
    EXPECT_EQ(file_bytes(path).size(), log_block_size);
    saved = file_read_all(path_text, false, &error);
    EXPECT_EQ(std::string((char*)saved.bytes, 27 + 14), "## Log overflowed ##\nnewest## Log end ##\n");
    data_free(&saved);
}
