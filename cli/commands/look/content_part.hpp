// The beginning or the end of a content, cut out of it as it comes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/http/headers.hpp"

namespace quillon::cli {

struct ContentPart {
    enum class End : bool { first, last };
    enum class Unit : bool { bytes, lines };
    End end;
    Unit unit;
    uint64_t count;
};

// Takes a content, or a part of it that may hold the wanted one. A line ends in a line feed; what
// follows the last one is a line, too. An end that is larger than memory shall hold is not kept,
// but counted: another cutter gets it, when the same comes again, by what it is to skip.
class PartCutter {
public:
    explicit PartCutter(const ContentPart& part, std::optional<uint64_t> skipped = {})
        : part_(part), skipped_(skipped) {}

    // What comes is that part of the content; nothing: it is all of it. Called before what comes,
    // also once more.
    void begin(const std::optional<vxhost::ContentRange>& range);
    // What goes out of a piece at once.
    std::string_view take(std::string_view piece);
    // What goes out when all has come.
    std::string_view rest();

    bool fits() const;    // what comes begins where the wanted part may
    bool isDone() const;  // nothing of what still comes is wanted
    bool isPart() const { return range_.has_value(); }
    bool keeps() const { return part_.end == ContentPart::End::last && !passes_ && !skipped_; }
    // Bytes, or lines, before the wanted end, where that was too large to be kept.
    std::optional<uint64_t> toSkip() const;
    // What came begins at that byte of the content.
    uint64_t firstByte() const { return range_ ? range_->first : 0; }
    // Whether all has come that was wanted, once as many bytes came.
    bool isWhole(uint64_t came) const;
    // Whether what came began behind the beginning of what is wanted.
    bool beganTooLate();

private:
    std::string_view takeFirst(std::string_view piece);
    std::string_view takeBehindSkipped(std::string_view piece);
    void count(std::string_view piece);
    uint64_t unitsThatCame() const;
    std::optional<size_t> startOfLast() const;  // in what is kept; nothing: it may lie before that
    void forgetUnwanted();

    const ContentPart part_;
    const std::optional<uint64_t> skipped_;  // of the units
    std::optional<vxhost::ContentRange> range_;
    bool passes_ = false;             // of the last bytes: just those come
    uint64_t done_ = 0;               // of the count, or of what is skipped
    uint64_t bytes_ = 0, feeds_ = 0;  // that came
    bool endsInFeed_ = true;
    bool isTooMuch_ = false;  // to be kept
    std::string kept_;
    size_t mostKept_ = 0;  // bytes, until what is not wanted is forgotten
};

// As a Range header asks for it; of lines, what may hold them: so many bytes at the end. Empty: the
// whole is to be asked for.
std::string rangeOf(const ContentPart& part, uint64_t bytesForLines);

}  // namespace quillon::cli
