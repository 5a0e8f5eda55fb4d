// newsloom-tool decode run as a program over a file in a temporary folder.
#include <gtest/gtest.h>

#include <string>

#include "tool_support.h"

TEST(ToolDecode, PrintsOneCodePointPerLine) {
    temp_folder_t folder;
    // Big5: a letter, a character that gives two code points, a bad pair whose
    // ASCII second byte is read again, and a lone lead byte at the end.
    std::string path = folder.write("input.bin", "\x41\x88\x62\xA1\x20\xA4");

    int status = -1;
    EXPECT_EQ(tool_run("decode ' Big5 ' " + path, &status), "U+0041\nU+00CA\nU+0304\nU+FFFD\nU+0020\nU+FFFD\n");
    EXPECT_EQ(status, 0);

    tool_run("decode iso-8859-6 " + path + " 2>/dev/null", &status);
    EXPECT_NE(status, 0);
    tool_run("decode utf-8 " + folder.path + "/missing 2>/dev/null", &status);
    EXPECT_NE(status, 0);
}
