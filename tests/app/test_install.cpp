// make install's rules run into a temporary DESTDIR: both programs, the desktop
// entry that a menu reads, and the icon at each size, drawn and decodable.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <string>

#include "file_support.h"
#include "platform/image_decode.h"

static int run(const std::string& command) {
    int status = system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(Install, ProgramsDesktopEntryAndIconsLandUnderDestdir) {
    temp_folder_t temp;
    std::string destdir = temp.path;
    ASSERT_EQ(run("DESTDIR='" + destdir + "' cmake --install '" NEWSLOOM_BINARY_DIR "' --prefix /opt/newsloom > '" +
                  destdir + "/install.txt'"),
              0)
        << file_bytes(destdir + "/install.txt");
    std::string root = destdir + "/opt/newsloom";

    for (const char* program : {"newsloom", "newsloom-tool"}) {
        struct stat info = {};
        ASSERT_EQ(stat((root + "/bin/" + program).c_str(), &info), 0) << program;
        EXPECT_TRUE(info.st_mode & S_IXUSR) << program;
    }
    // The installed tool runs.
    EXPECT_EQ(run("'" + root + "/bin/newsloom-tool' 2> /dev/null"), 2);

    std::string entry_path = root + "/share/applications/newsloom.desktop";
    std::string entry = file_bytes(entry_path);
    for (const char* line : {"[Desktop Entry]\n", "\nType=Application\n", "\nName=Newsloom\n", "\nExec=newsloom\n",
                             "\nIcon=newsloom\n", "\nCategories=Network;Feed;\n",
                             "\nMimeType=application/rss+xml;application/atom+xml;\n"}) {
        EXPECT_NE(entry.find(line), std::string::npos) << line << entry;
    }
    EXPECT_EQ(run("desktop-file-validate '" + entry_path + "' > '" + destdir + "/validate.txt' 2>&1"), 0)
        << file_bytes(destdir + "/validate.txt");

    for (unsigned size : {48u, 128u, 256u}) {
        std::string name = std::to_string(size) + "x" + std::to_string(size);
        std::string png = file_bytes(root + "/share/icons/hicolor/" + name + "/apps/newsloom.png");
        unsigned width = 0, height = 0, channels = 0;
        unsigned char* pixels = image_decode((const unsigned char*)png.data(), png.size(), &width, &height, &channels);
        ASSERT_NE(pixels, nullptr) << name;
        EXPECT_EQ(width, size);
        EXPECT_EQ(height, size);
        ASSERT_EQ(channels, 4u);
        // Rows come bottom-up: (x, y) from the top is row size - 1 - y.
        auto at = [&](double x, double y) {
            unsigned px = (unsigned)(x * size), py = size - 1 - (unsigned)(y * size);
            return pixels + ((size_t)py * size + px) * 4;
        };
        EXPECT_EQ(at(0.005, 0.005)[3], 0) << name << ": the corner is transparent";
        const unsigned char* orange = at(0.75, 0.85);
        EXPECT_EQ(orange[3], 255) << name;
        EXPECT_GT(orange[0], 180) << name;
        EXPECT_LT(orange[2], 80) << name;
        const unsigned char* dot = at(0.27, 0.73);
        EXPECT_EQ(dot[0] & dot[1] & dot[2] & dot[3], 255) << name << ": the feed sign is white";
        image_decode_free(pixels);
    }
}
