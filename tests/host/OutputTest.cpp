// host/Output.cpp
#include "host/Output.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <ostream>
#include <poll.h>
#include <pty.h>
#include <string>
#include <unistd.h>

TEST(Output, ATerminalShowsEachLineAtItsEnd)
{
    int master = -1;
    int slave = -1;
    ASSERT_EQ(openpty(&master, &slave, nullptr, nullptr, nullptr), 0);
    Output output(slave);
    std::ostream stream(&output);
    stream << 1 << '\n' << "open";
    char text[64] = {};
    pollfd waiting{master, POLLIN, 0};
    ASSERT_EQ(poll(&waiting, 1, 10'000), 1);
    EXPECT_EQ(read(master, text, sizeof text), 3); // the driver sends a carriage return as well
    EXPECT_STREQ(text, "1\r\n");
    stream.flush();
    ASSERT_EQ(poll(&waiting, 1, 10'000), 1);
    EXPECT_EQ(read(master, text, sizeof text), 4);
    EXPECT_EQ(output.Taken(), 6u);

    stream << "\x1b]0;t\a \xc3\x9b \xc2\x9b \x9b \xe2\x82\xac\t\x7f\n"; // a file's bytes can't steer it
    output.WriteSequence("\x1b[m");
    stream << std::flush;
    std::string shown; // it may come in several pieces
    while (!shown.ends_with("\x1b[m") && poll(&waiting, 1, 10'000) == 1) {
        const ssize_t count = read(master, text, sizeof text);
        ASSERT_GT(count, 0);
        shown.append(text, static_cast<std::size_t>(count));
    }
    EXPECT_EQ(shown, "?]0;t? \xc3\x9b ? ? \xe2\x82\xac\t?\r\n\x1b[m");
    close(master);
    close(slave);
}

TEST(Output, TellsAFullDiskAndABrokenPipe)
{
    const int full = open("/dev/full", O_WRONLY);
    Output disk(full);
    disk.Write("text");
    EXPECT_EQ(disk.Error(), 0);
    disk.Flush();
    EXPECT_EQ(disk.Error(), ENOSPC);
    close(full);

    const auto handler = std::signal(SIGPIPE, SIG_IGN);
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    close(ends[0]);
    Output pipe(ends[1]);
    pipe.Write(std::string(1'000'000, 'x'));
    EXPECT_EQ(pipe.Error(), EPIPE);
    pipe.Write("dropped without harm");
    pipe.Flush();
    close(ends[1]);
    std::signal(SIGPIPE, handler);
}
