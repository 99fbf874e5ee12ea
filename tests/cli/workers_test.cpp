#include "cli/workers.hpp"

#include <gtest/gtest.h>

#include <latch>
#include <stdexcept>

#include "cli/report.hpp"

namespace quillon::cli {
namespace {

struct Outcome {
    int code;
    std::string reports;
};

Outcome outcomeOf(size_t count, size_t jobs, const Task& task) {
    Progress progress;
    testing::internal::CaptureStderr();
    const int code = runTasks(count, jobs, progress, task);
    return {code, testing::internal::GetCapturedStderr()};
}

TEST(Workers, tellInOrderAndEndAtAnInterrupt) {
    struct Row {
        std::vector<int> codes;  // of the tasks; each that is not 0 reports itself
        size_t jobs;
        int code;
        const char* reports;
    };
    const Row rows[] = {
        {{}, 4, 0, ""},
        {{0, 0, 0, 0, 0}, 2, 0, ""},
        {{0, 3, 0, 4}, 3, 3, "quillon: 1\nquillon: 3\n"},
        {{3, EXIT_INTERRUPTED, 4}, 1, EXIT_INTERRUPTED, "quillon: 0\nquillon: 1\n"},
    };
    for (const Row& row : rows) {
        const Outcome outcome = outcomeOf(row.codes.size(), row.jobs, [&](size_t i) {
            if (row.codes[i] != 0) complain(std::to_string(i));
            return row.codes[i];
        });
        EXPECT_EQ(outcome.code, row.code);
        EXPECT_EQ(outcome.reports, row.reports);
    }
}

TEST(Workers, workAtTheSameTimeAndSurviveAnException) {
    constexpr size_t count = 4;
    std::latch all(count);
    std::latch othersReported(count - 1);
    const Outcome outcome = outcomeOf(count, count, [&](size_t i) -> int {
        all.arrive_and_wait();  // would wait for ever in turn
        if (i == 0) othersReported.wait();
        if (i == 0) throw std::runtime_error("0");
        complain(std::to_string(i));
        othersReported.count_down();
        return EXIT_DONE;
    });
    EXPECT_EQ(outcome.code, EXIT_LOCAL);
    EXPECT_EQ(outcome.reports, "quillon: 0\nquillon: 1\nquillon: 2\nquillon: 3\n");
}

}  // namespace
}  // namespace quillon::cli
