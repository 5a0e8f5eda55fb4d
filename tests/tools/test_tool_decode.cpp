// newsloom-tool decode run as a program over a file in a temporary folder.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

static std::string run(const std::string& command, int* status) {
    std::string output;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return output;
    char buffer[4096];
    size_t count;
    while ((count = fread(buffer, 1, sizeof(buffer), pipe)) > 0) output.append(buffer, count);
    *status = pclose(pipe);
    return output;
}

TEST(ToolDecode, PrintsOneCodePointPerLine) {
    char folder[] = "/tmp/newsloom_decode_XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    std::string path = std::string(folder) + "/input.bin";
    // Big5: a letter, a character that gives two code points, a bad pair whose
    // ASCII second byte is read again, and a lone lead byte at the end.
    const unsigned char bytes[] = {0x41, 0x88, 0x62, 0xA1, 0x20, 0xA4};
    FILE* file = fopen(path.c_str(), "wb");
    ASSERT_NE(file, nullptr);
    fwrite(bytes, 1, sizeof(bytes), file);
    fclose(file);

    std::string tool = std::string(NEWSLOOM_BINARY_DIR) + "/newsloom-tool";
    int status = -1;
    EXPECT_EQ(run(tool + " decode ' Big5 ' " + path, &status),
              "U+0041\nU+00CA\nU+0304\nU+FFFD\nU+0020\nU+FFFD\n");
    EXPECT_EQ(status, 0);

    run(tool + " decode iso-8859-6 " + path + " 2>/dev/null", &status);
    EXPECT_NE(status, 0);
    run(tool + " decode utf-8 " + std::string(folder) + "/missing 2>/dev/null", &status);
    EXPECT_NE(status, 0);

    unlink(path.c_str());
    rmdir(folder);
}
