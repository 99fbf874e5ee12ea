#include "platform/text/date.hpp"

#include <algorithm>
#include <array>
#include <initializer_list>
#include <string>

namespace vxhost {
namespace {

using namespace std::chrono;

constexpr size_t LONGEST_DATE = 64;  // characters; leaves room for odd fractions of a second

// Reads from the front; a step that does not fit makes the whole text no date.
class Reader {
public:
    explicit Reader(std::string_view text) : rest_(text) {}

    bool good() const { return good_; }
    bool done() const { return good_ && rest_.empty(); }
    bool at(char c) const { return !rest_.empty() && rest_[0] == c; }

    bool take(char c) {
        if (!at(c)) return false;
        rest_.remove_prefix(1);
        return true;
    }
    void expect(char c) { good_ = take(c) && good_; }

    // Counts of digits from least to most.
    unsigned number(size_t least, size_t most) {
        unsigned value = 0;
        size_t digits = 0;
        for (; digits < most && digits < rest_.size() && isDigit(rest_[digits]); ++digits) {
            value = value * 10 + static_cast<unsigned>(rest_[digits] - '0');
        }
        good_ = good_ && digits >= least;
        rest_.remove_prefix(digits);
        return value;
    }

    double fraction() {
        double value = 0, unit = 1;
        good_ = good_ && !rest_.empty() && isDigit(rest_[0]);
        for (; !rest_.empty() && isDigit(rest_[0]); rest_.remove_prefix(1)) {
            unit /= 10;
            value += unit * (rest_[0] - '0');
        }
        return value;
    }

    std::string_view word() {
        const auto end = std::find_if_not(rest_.begin(), rest_.end(), isLetter);
        const auto found = rest_.substr(0, static_cast<size_t>(end - rest_.begin()));
        rest_.remove_prefix(found.size());
        return found;
    }

    // Position of the next word in names.
    unsigned oneOf(std::initializer_list<std::string_view> names) {
        const auto found = std::find(names.begin(), names.end(), word());
        good_ = good_ && found != names.end();
        return static_cast<unsigned>(found - names.begin());
    }

private:
    static bool isDigit(char c) { return c >= '0' && c <= '9'; }
    static bool isLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z'); }

    std::string_view rest_;
    bool good_ = true;
};

struct Moment {
    int year = 0;
    unsigned month = 0, day = 0, hour = 0, minute = 0, second = 0;
    double fraction = 0;
    int offset = 0;  // minutes east of UTC
};

std::optional<double> toSeconds(const Moment& moment) {
    const year_month_day date{year{moment.year}, month{moment.month}, day{moment.day}};
    if (!date.ok() || moment.hour > 23 || moment.minute > 59 || moment.second > 60) return {};
    const auto whole = sys_days{date}.time_since_epoch() + hours{moment.hour} +
                       minutes{moment.minute} + seconds{moment.second} - minutes{moment.offset};
    return static_cast<double>(whole.count()) + moment.fraction;
}

unsigned takeMonth(Reader& reader) {
    return 1 + reader.oneOf({"Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct",
                             "Nov", "Dec"});
}

void takeTime(Reader& reader, Moment& moment) {
    moment.hour = reader.number(2, 2);
    reader.expect(':');
    moment.minute = reader.number(2, 2);
    reader.expect(':');
    moment.second = reader.number(2, 2);
}

bool takeOffset(Reader& reader, Moment& moment) {
    const bool west = reader.at('-');
    if (!reader.take('-') && !reader.take('+')) return false;
    const unsigned hour = reader.number(2, 2);
    reader.take(':');
    const unsigned minute = reader.number(2, 2);
    moment.offset = static_cast<int>(hour * 60 + minute) * (west ? -1 : 1);
    return hour < 24 && minute < 60;
}

// RFC 9110, 5.6.7: a year that appears to lie more than 50 years ahead is the latest in the past
// with the same two digits.
int fullYear(unsigned twoDigits, system_clock::time_point now) {
    const int thisYear = int{year_month_day{floor<days>(now)}.year()};
    const int ahead = thisYear - thisYear % 100 + static_cast<int>(twoDigits);
    return ahead > thisYear + 50 ? ahead - 100 : ahead;
}

std::optional<double> finish(const Reader& reader, const Moment& moment) {
    return reader.done() ? toSeconds(moment) : std::nullopt;
}

// 1994-11-06T08:49:37.25+01:00
std::optional<double> parseRfc3339(Reader reader) {
    Moment moment;
    moment.year = static_cast<int>(reader.number(4, 4));
    reader.expect('-');
    moment.month = reader.number(2, 2);
    reader.expect('-');
    moment.day = reader.number(2, 2);
    if (!reader.take('T') && !reader.take('t') && !reader.take(' ')) return {};
    takeTime(reader, moment);
    if (reader.take('.')) moment.fraction = reader.fraction();
    if (!reader.take('Z') && !reader.take('z') && !takeOffset(reader, moment)) return {};
    return finish(reader, moment);
}

// Sun, 06 Nov 1994 08:49:37 GMT and Sunday, 06-Nov-94 08:49:37 GMT, after the comma
std::optional<double> parseWithComma(Reader reader, system_clock::time_point now) {
    Moment moment;
    reader.expect(' ');
    moment.day = reader.number(1, 2);
    const bool dashes = reader.at('-');
    const char separator = dashes ? '-' : ' ';
    reader.expect(separator);
    moment.month = takeMonth(reader);
    reader.expect(separator);
    moment.year =
        dashes ? fullYear(reader.number(2, 2), now) : static_cast<int>(reader.number(4, 4));
    reader.expect(' ');
    takeTime(reader, moment);
    reader.expect(' ');
    if (!reader.at('+') && !reader.at('-')) {
        reader.oneOf({"GMT", "UTC", "UT", "Z"});
    } else if (!takeOffset(reader, moment)) {
        return {};
    }
    return finish(reader, moment);
}

// Sun Nov  6 08:49:37 1994, after the name of the day
std::optional<double> parseAsctime(Reader reader) {
    Moment moment;
    reader.expect(' ');
    moment.month = takeMonth(reader);
    reader.expect(' ');
    moment.day = reader.take(' ') ? reader.number(1, 1) : reader.number(2, 2);
    reader.expect(' ');
    takeTime(reader, moment);
    reader.expect(' ');
    moment.year = static_cast<int>(reader.number(4, 4));
    return finish(reader, moment);
}

bool isDayName(std::string_view name) {
    constexpr std::array<std::string_view, 7> names = {
        "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday", "Sunday"};
    return std::any_of(names.begin(), names.end(), [name](std::string_view full) {
        return name == full || name == full.substr(0, 3);
    });
}

}  // namespace

std::optional<double> parseDate(std::u32string_view text, system_clock::time_point now) {
    const auto isAscii = [](char32_t c) { return c < 0x80; };
    if (text.size() > LONGEST_DATE || !std::all_of(text.begin(), text.end(), isAscii)) return {};
    std::array<char, LONGEST_DATE> narrow;
    std::transform(text.begin(), text.end(), narrow.begin(),
                   [](char32_t c) { return static_cast<char>(c); });
    Reader reader({narrow.data(), text.size()});
    const auto first = reader.word();
    if (first.empty()) return parseRfc3339(reader);
    if (!isDayName(first)) return {};
    return reader.take(',') ? parseWithComma(reader, now) : parseAsctime(reader);
}

}  // namespace vxhost
