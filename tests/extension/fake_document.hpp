// A document of the fake host.
#pragma once

#include "tests/extension/fake_host.hpp"

namespace test {

struct FakeDocument : Fake<vx::Document> {
    std::vector<Tree> top;
    Nodes nodes;
    // Noted as out until it is destroyed.
    static FakeDocument* create(FakeHost& host, const std::string& kind,
                                const std::vector<Tree>& top);
};

}  // namespace test
