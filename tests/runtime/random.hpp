// Input for properties that hold for every input.
#pragma once

#include <random>
#include <string>

namespace test {

// The same numbers in every run.
class Random {
public:
    uint64_t below(uint64_t limit) { return engine_() % limit; }

    std::basic_string<uint8_t> bytes(uint64_t count) {
        std::basic_string<uint8_t> made(count, 0);
        for (uint8_t& byte : made) byte = static_cast<uint8_t>(engine_());
        return made;
    }
    // Units that differ rarely, so that every length of a common beginning comes up.
    template <class Unit>
    std::basic_string<Unit> monotonous(uint64_t count, Unit usual) {
        std::basic_string<Unit> made(count, usual);
        if (count == 0 || below(4) == 0) return made;
        for (uint64_t n = below(3); n-- > 0;) made[below(count)] = static_cast<Unit>(engine_());
        return made;
    }

private:
    std::mt19937 engine_;
};

}  // namespace test
