#include "client/memory/file_note.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "platform/base/ascii.hpp"
#include "platform/files/content.hpp"
#include "platform/files/content_hash.hpp"
#include "platform/http/headers.hpp"

namespace quillon {
namespace {

constexpr size_t mostUrl = 8192, mostTag = 1024, hashDigits = 64;  // bytes
constexpr size_t lines = 6;

bool isUrl(std::string_view url) {
    if (!url.starts_with("http://") && !url.starts_with("https://")) return false;
    const bool isPrintable = std::ranges::all_of(url, [](char c) { return c > ' ' && c < '\x7F'; });
    const std::string_view rest = url.substr(url.find("://") + 3);
    const std::string_view authority = rest.substr(0, rest.find('/'));
    return isPrintable && url.size() <= mostUrl && !authority.empty() &&
           authority.find('@') == authority.npos && url.find_first_of("?#\\") == url.npos;
}

bool isTag(std::string_view tag) {
    if (tag.size() > mostTag || tag.find('\n') != tag.npos) return false;
    return tag.empty() || vxhost::parseEntityTag(tag).sent() == tag;
}

bool isHash(std::string_view hash) {
    return hash.empty() ||
           (hash.size() == hashDigits && hash.find_first_not_of("0123456789abcdef") == hash.npos);
}

}  // namespace

bool isValid(const FileNote& note) {
    return isUrl(note.url) && isTag(note.tag) && isHash(note.hash);
}

std::string textOf(const FileNote& note) {
    const std::string date =
        note.serverDate ? std::to_string(note.serverDate->time_since_epoch().count()) : "";
    return fmt::format("{}\n{}\n{}\n{}\n{}\n{}", note.url, note.tag, date, note.hash, note.size,
                       note.modifiedNs);
}

std::optional<FileNote> parseNote(std::string_view text) {
    std::array<std::string_view, lines> line;
    if (std::ranges::count(text, '\n') != lines - 1) return std::nullopt;
    for (std::string_view& each : line) {
        const size_t end = std::min(text.find('\n'), text.size());
        each = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    const auto date = vxhost::parseNumber<int64_t>(line[2]);
    const auto size = vxhost::parseNumber<uint64_t>(line[4]);
    const auto modified = vxhost::parseNumber<int64_t>(line[5]);
    if (!size || !modified || !(date || line[2].empty())) return std::nullopt;
    FileNote note{
        std::string(line[0]), std::string(line[1]), {}, std::string(line[3]), *size, *modified};
    if (date) note.serverDate = Time(std::chrono::milliseconds(*date));
    return isValid(note) ? std::optional(std::move(note)) : std::nullopt;
}

bool isUnchanged(const FileNote& note, const LocalEntry& file) {
    return file.kind == LocalKind::file && file.size == note.size &&
           file.modifiedNs == note.modifiedNs;
}

bool isSameTag(std::string_view a, std::string_view b) {
    const std::string text = vxhost::parseEntityTag(a).text;
    return !text.empty() && text == vxhost::parseEntityTag(b).text;
}

std::string hashFile(const vxhost::Descriptor& file, const std::string& shown) {
    vxhost::ContentHash hash;
    vxhost::readPieces(file, shown, [&hash](std::string_view piece) {
        hash.add(piece);
        return true;
    });
    return hash.hex();
}

}  // namespace quillon
