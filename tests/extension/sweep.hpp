// Operations against everything that can go wrong around them. Each call that a run makes is
// answered out of the ordinary in turn, each request with one HTTP status after the other, and each
// allocation fails; what comes of it is compared with a transcript in tests/data/extension/, which
// was read against the contract when it was written:
//   [SCRIPT]        a run as the script has it, with its allocations; "= " before its status
//     HEAD 404:     what differs when that call is answered so: the lines from the first one that
//       ...         is another to the last; N stands for the HTTP status
// What differs in nothing but the call itself is left out.
#pragma once

#include <functional>

#include "tests/extension/fake_host.hpp"

namespace test {

struct Disturbance {
    size_t call = SIZE_MAX;  // the number of the one that is answered so
    Answer answer = {};
    int allocation = 0;  // the number of the one that fails; 0: none
    bool sayPool = false;
};

struct Run {
    std::vector<std::string> lines;
    std::vector<std::string> calls;  // of the operation and of what prepared it
    size_t firstCall;
    int firstAllocation, allocations;
};

using Runner = std::function<Run(const std::string& script, const Disturbance&)>;
using Scripts = std::vector<std::string>;

void compareTranscripts(const std::string& name, const Scripts& swept, const Scripts& once,
                        const Runner& run);

// Sweeps over the operation, on a host of its own for each run; of other scripts there is the run
// alone. QUILLON_WRITE_TRANSCRIPTS in the environment has the file written anew.
template <class Host>
void expectTranscripts(const std::string& name, const Scripts& swept, const Scripts& once,
                       const std::function<vx::Status(Host&)>& operation) {
    compareTranscripts(name, swept, once, [&](const std::string& script, const Disturbance& odd) {
        Host host{script};
        host.script.oddCall = odd.call;
        host.script.odd = odd.answer;
        host.pool.failAt = odd.allocation;
        host.sayPool = odd.sayPool;
        const vx::Status status = operation(host);
        host.say("= {}", hex(status));
        const Run run{host.lines, host.script.asked, host.firstCall, host.firstAllocation,
                      host.pool.asked};
        host.sayPool = false;
        host.pool.failAt = 0;
        if (odd.call != SIZE_MAX || odd.allocation) host.script = Script{""};
        return run;
    });
}

}  // namespace test
