// SIGTERM and SIGINT end the program under a real X server the way the close button
// does: the frame runs to its end, the profile and the store are written, and the
// store holds what it held before.
#include <signal.h>
#include <time.h>

#include "store/store_support.h"
#include "window/x_server_test.h"

class SignalTest : public x_server_test_t {};

// A store with one feed of the corpus, saved as the program would have left it.
static std::string store_with_a_feed(const std::string& folder) {
    store_fixture_t store;
    store.use_folder(folder);
    if (!store.merge_file("atp.rss", "https://atp.fm/rss")) return "";
    if (!store.save()) return "";
    return command_output("'" NEWSLOOM_BINARY_DIR "/newsloom-tool' store \"$(ls -d '" + folder +
                          "'/feed_data_*.bin | tail -n 1)\"");
}

TEST_F(SignalTest, TerminationSignalsCloseLikeTheCloseButton) {
    for (int number : {SIGTERM, SIGINT}) {
        SCOPED_TRACE(number);
        std::string store = folder + "/store" + std::to_string(number);
        std::string listing = store_with_a_feed(store);
        ASSERT_NE(listing.find("atp"), std::string::npos) << listing;
        // Store files are named by the second; the program's own save needs a new one.
        usleep(1100000);

        timespec started;
        clock_gettime(CLOCK_MONOTONIC, &started);
        std::string first_frame = folder + "/first_frame_time.txt";
        program_t program =
            program_start(folder, {"-path", store, "-profile", "-log", "-first_frame_time", first_frame});
        ASSERT_NE(window_wait(), 0u) << file_text(folder + "/stderr.txt");
        ASSERT_EQ(kill(program.pid, number), 0);
        expect_clean_exit(&program);

        // A second store file, newer, the same as the first but for its generation.
        std::string files = command_output("ls '" + store + "'");
        ASSERT_EQ(std::count(files.begin(), files.end(), '\n'), 2) << files;
        std::string saved = command_output("'" NEWSLOOM_BINARY_DIR "/newsloom-tool' store \"$(ls -d '" + store +
                                           "'/feed_data_*.bin | tail -n 1)\"");
        EXPECT_EQ(saved.substr(saved.find('\n')), listing.substr(listing.find('\n')));

        // The first frame's time is on the clock of this process, after the start.
        unsigned long long first_frame_ns = strtoull(file_text(first_frame).c_str(), nullptr, 10);
        EXPECT_GT(first_frame_ns, (unsigned long long)started.tv_sec * 1000000000ull + started.tv_nsec);

        // The frame that saw the request ran whole, and shutdown followed.
        std::string log = file_text(folder + "/log.txt");
        EXPECT_NE(log.find("\nFrame start: 0\n"), std::string::npos) << log;
        std::string report = command_output("'" NEWSLOOM_BINARY_DIR "/newsloom-tool' profile '" + folder +
                                            "/profile.bin'");
        EXPECT_NE(report.find("\nframe "), std::string::npos) << report;
        EXPECT_NE(report.find("\n    window_swap_buffers "), std::string::npos) << report;
        EXPECT_NE(report.find("\nthread_terminate "), std::string::npos) << report;
    }
}
