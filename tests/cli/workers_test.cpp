#include "cli/workers.hpp"

#include <gtest/gtest.h>

#include <latch>
#include <stdexcept>
#include <string>
#include <vector>

#include "cli/report.hpp"

namespace quillon::cli {
namespace {

struct Row {
    const char* name;
    std::vector<int> codes;  // of the tasks; each that is not 0 reports
    size_t jobs;
    int code;
    const char* reports;
};

const std::vector<Row> rows{
    {"none", {}, 4, 0, ""},
    {"all succeed", {0, 0, 0, 0, 0}, 2, 0, ""},
    {"the first failure counts, none is the end", {0, 3, 0, 4}, 3, 3, "1 3 3 4 "},
    {"an interrupt counts more and ends",
     {3, EXIT_INTERRUPTED, 4},
     1,
     EXIT_INTERRUPTED,
     "0 3 1 130 "},
};

TEST(Workers, tell_in_order) {
    for (const Row& row : rows) {
        Progress progress;
        testing::internal::CaptureStderr();
        const int code = runTasks(row.codes.size(), row.jobs, progress, [&](size_t i) {
            if (row.codes[i] != 0) complain(std::to_string(i) + " " + std::to_string(row.codes[i]));
            return row.codes[i];
        });
        std::string reports = testing::internal::GetCapturedStderr();
        for (size_t at; (at = reports.find("quillon: ")) != reports.npos;) reports.erase(at, 9);
        for (char& c : reports) c = c == '\n' ? ' ' : c;
        EXPECT_EQ(code, row.code) << row.name;
        EXPECT_EQ(reports, row.reports) << row.name;
    }
}

TEST(Workers, work_at_the_same_time_and_report_in_order) {
    constexpr size_t count = 4;
    Progress progress;
    std::latch all(count);
    std::latch othersReported(count - 1);
    testing::internal::CaptureStderr();
    runTasks(count, count, progress, [&](size_t i) {
        all.arrive_and_wait();  // would wait for ever in turn
        if (i == 0) {
            othersReported.wait();
        } else {
            complain(std::to_string(i));
            othersReported.count_down();
        }
        if (i == 0) complain("0");
        return EXIT_DONE;
    });
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "quillon: 0\nquillon: 1\nquillon: 2\nquillon: 3\n");
}

TEST(Workers, survive_an_exception) {
    Progress progress;
    testing::internal::CaptureStderr();
    const int code =
        runTasks(2, 2, progress, [](size_t) -> int { throw std::runtime_error("no more"); });
    EXPECT_EQ(code, EXIT_LOCAL);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "quillon: no more\nquillon: no more\n");
}

}  // namespace
}  // namespace quillon::cli
