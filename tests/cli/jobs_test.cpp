#include "cli/session/jobs.hpp"

#include <gtest/gtest.h>

#include <latch>
#include <stdexcept>

#include "cli/terminal/report.hpp"

namespace quillon::cli {
namespace {

struct Outcome {
    int code;
    std::string reports;
    bool operator==(const Outcome&) const = default;
};

Outcome outcomeOf(size_t count, size_t jobs, const NumberedTask& task) {
    const CommonOptions options{};
    Session session(options);
    testing::internal::CaptureStderr();
    const int code = runTasks(count, jobs, session, task);
    return {code, testing::internal::GetCapturedStderr()};
}

TEST(Jobs, endAtAnInterrupt) {
    const std::vector<int> codes{0, 3, exitInterrupted, 4};
    const auto task = [&](size_t i) {
        complain(std::to_string(i));
        return codes[i];
    };
    EXPECT_EQ(outcomeOf(codes.size(), 1, task),
              (Outcome{exitInterrupted, "quillon: 0\nquillon: 1\nquillon: 2\n"}));
    EXPECT_EQ(outcomeOf(0, 4, task), Outcome{});
}

TEST(Jobs, workAtTheSameTimeTellInOrderAndSurviveAnException) {
    constexpr size_t count = 4;
    std::latch all(count);
    std::latch othersReported(count - 1);
    const Outcome outcome = outcomeOf(count, count, [&](size_t i) -> int {
        all.arrive_and_wait();  // would wait for ever in turn
        if (i == 0) othersReported.wait();
        if (i == 0) throw std::runtime_error("0");
        complain(std::to_string(i));
        othersReported.count_down();
        return i == 2 ? exitDone : exitRefused;
    });
    EXPECT_EQ(outcome, (Outcome{exitLocal, "quillon: 0\nquillon: 1\nquillon: 2\nquillon: 3\n"}));
}

}  // namespace
}  // namespace quillon::cli
