#include "tests/support/process.hpp"

#include <gtest/gtest.h>

#include <csignal>

namespace support {

TEST(Process, carriesInputBothOutputsAndTheExitCode) {
    std::string large(1 << 20, 'x');  // more than a pipe holds
    Outcome outcome =
        run({{"sh", "-c", "cat; echo $NAME >&2; exit 3"}, {{"NAME", "value"}}, large});
    EXPECT_EQ(outcome.output, large);
    EXPECT_EQ(outcome.errors, "value\n");
    EXPECT_EQ(outcome.exitCode, 3);
}

TEST(Process, thatDoesNotEndIsKilledWithItsChildren) {
    RunningProcess process({{"sh", "-c", "sleep 1000 & echo $!; wait"}});
    ASSERT_TRUE(process.expect("\n"));
    EXPECT_EQ(process.wait(Duration{1}), std::nullopt);
    process.signal(SIGTERM);
    EXPECT_EQ(process.wait().value().signal, SIGTERM);
}

TEST(Process, inATerminalPromptsWithoutEchoAndObeysCtrlC) {
    RunningProcess process(
        {{"python3", "-c",
          "import getpass; print('got', getpass.getpass('Password: ')); input('More? ')"}},
        Streams::terminal);
    ASSERT_TRUE(process.expect("Password: ")) << process.output();
    process.send("secret\n");
    ASSERT_TRUE(process.expect("More? ")) << process.output();
    EXPECT_EQ(process.output(), "Password: \r\ngot secret\r\nMore? ");
    process.send("\x03");
    EXPECT_EQ(process.wait().value().signal, SIGINT);
}

}  // namespace support
