// A server that is written to, and on which no lock may stay.
#pragma once

#include "tests/cli/program.hpp"

namespace quillon::cli {

class Writing : public ProgramTest {
protected:
    void TearDown() override { EXPECT_EQ(lockTokens(server), Arguments()); }

    const Apache server;
    const std::string url = server.url();
};

}  // namespace quillon::cli
