// quillon cat, head and tail: contents, or their beginnings and ends, on the standard output.
#include <fmt/format.h>

#include <cerrno>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "cli/commands/command.hpp"
#include "cli/commands/content_output.hpp"
#include "cli/commands/look/content_part.hpp"
#include "cli/parser/byte_count.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/remote/content.hpp"
#include "platform/base/status.hpp"

namespace quillon::cli {
namespace {

using End = ContentPart::End;
using Unit = ContentPart::Unit;

constexpr uint64_t usualLines = 10;
// What is asked for first where lines are wanted, and by how much more each time that this was too
// little; then all is asked for.
constexpr uint64_t firstAsked = uint64_t{64} << 10;
constexpr uint64_t growth = 16;
constexpr uint64_t mostAsked = uint64_t{1} << 30;

constexpr const char* anotherPart =
    "The server answered another part than the one that was asked for.";

class PartTaker : public ContentTaker {
public:
    explicit PartTaker(const ContentPart& part, std::optional<uint64_t> skipped = {})
        : cutter_(part, skipped) {}

    void announcePart(const vxhost::ContentRange& range) override { range_ = range; }
    void begin() override {
        cutter_.begin(std::exchange(range_, std::nullopt));
        if (!cutter_.fits()) throw vxhost::Failure(vxhost::WEBLNK_BAD_ANSWER, anotherPart);
    }
    void take(std::string_view piece) override {
        write(cutter_.take(piece));
        const bool isEnough = cutter_.isDone() && !cutter_.isPart();
        if (failure_ != 0 || isEnough) throw std::runtime_error("no more is wanted");
    }
    bool takesOnce() const override { return !cutter_.keeps(); }

    void finish() { write(cutter_.rest()); }
    PartCutter& cutter() { return cutter_; }
    int failure() const { return failure_; }  // of the output: errno, or 0

private:
    void write(std::string_view text) {
        if (text.empty()) return;  // which may be null
        failure_ = writeOut(text);
        if (failure_ == 0) failure_ = flushOut();
    }

    PartCutter cutter_;
    std::optional<vxhost::ContentRange> range_;
    int failure_ = 0;
};

class PartWriter {
public:
    PartWriter(Servers& servers, const Address& address, const ContentPart& part)
        : servers_(servers), address_(address), part_(part) {}

    Result<void> write() {
        for (uint64_t bytes = firstAsked;; bytes *= growth) {
            PartTaker taker(part_);
            const std::string range = bytes > mostAsked ? std::string() : rangeOf(part_, bytes);
            Result<FetchedContent> fetched = ask(taker, range);
            // So an empty content is answered, too: it has no part.
            const bool hasNoPart = !range.empty() && !fetched && fetched.error().httpStatus == 416;
            if (hasNoPart) fetched = ask(taker, {});
            if (taker.failure() != 0) return outputFailure(taker.failure());
            if (!fetched && taker.cutter().isDone()) return {};
            if (!fetched) return std::move(fetched).error();
            if (!taker.cutter().isWhole(fetched->size)) {
                return localError(Kind::network, anotherPart);
            }
            if (part_.unit == Unit::lines && taker.cutter().beganTooLate()) continue;
            if (taker.cutter().toSkip()) return writeAgain(taker.cutter(), *fetched);
            return finish(taker, *fetched);
        }
    }

private:
    Result<FetchedContent> ask(PartTaker& taker, const std::string& range) {
        return servers_.with(address_, [&](Remote& remote) -> Result<FetchedContent> {
            FetchWish wish;
            wish.range = range;
            return remote.run(fetch(remote, address_.url(), taker, std::move(wish)));
        });
    }

    // What was too large to be kept, as it comes: the same bytes once more.
    Result<void> writeAgain(const PartCutter& counted, const FetchedContent& before) {
        const uint64_t first = counted.firstByte();
        PartTaker taker(part_, counted.toSkip());
        Result<FetchedContent> again =
            ask(taker, counted.isPart() ? fmt::format("bytes={}-{}", first, first + before.size - 1)
                                        : std::string());
        if (taker.failure() != 0) return outputFailure(taker.failure());
        if (!again) return std::move(again).error();
        const bool isOther = again->size != before.size ||
                             again->version.tag.text != before.version.tag.text ||
                             taker.cutter().firstByte() != first;
        if (isOther) {
            return localError(Kind::network,
                              "It was changed while its end was being fetched, so that what was "
                              "written may be of two versions.");
        }
        return finish(taker, *again);
    }

    Result<void> finish(PartTaker& taker, const FetchedContent& fetched) {
        taker.finish();
        if (taker.failure() != 0) return outputFailure(taker.failure());
        if (!fetched.endProven) complain(unprovenEnd(address_.url()));
        return {};
    }

    Servers& servers_;
    const Address& address_;
    const ContentPart part_;
};

Result<void> writePart(Session& session, Servers& servers, const Address& address,
                       const ContentPart& part) {
    if (!address.namesMember()) return noMember();
    session.leftWork().tell(address.url());
    return PartWriter(servers, address, part).write();
}

struct PartOptions {
    std::vector<std::string> urls;
    std::optional<uint64_t> bytes, lines;
};

int writeParts(Session& session, PartOptions& options, End end) {
    const ContentPart part{end, options.bytes ? Unit::bytes : Unit::lines,
                           options.bytes.value_or(options.lines.value_or(usualLines))};
    Servers& servers = session.servers();
    bool isFirst = true;
    const int code =
        forEachUrl(session, options.urls, "fetch", [&](const Address& address) -> Result<void> {
            const bool wasFirst = std::exchange(isFirst, false);
            if (!wasFirst && outputAbandoned()) return {};
            if (options.urls.size() > 1) {
                printOut("{}==> {} <==\n", wasFirst ? "" : "\n", forOutput(address.url()));
            }
            return writePart(session, servers, address, part);
        });
    return code == exitDone && outputAbandoned() ? exitUnread : code;
}

void addCountOption(CommandDefinition command, const std::string& names,
                    std::optional<uint64_t>& count, const std::string& meaning) {
    const auto take = [&count](const std::string& text) -> Result<void> {
        count = parseByteCount(text);
        if (count) return {};
        return localError(Kind::usage, fmt::format("\"{}\" is no number.", text));
    };
    command.addOption(names, take, meaning).typeName("N");
}

void addPartCommand(CommandDefinition program, Invocation& invocation, End end) {
    const bool isFirst = end == End::first;
    const std::string name = isFirst ? "head" : "tail", which = isFirst ? "first" : "last";
    auto options = std::make_shared<PartOptions>();
    const CommandDefinition command = program.addCommand(
        name, fmt::format("Write the {} lines of members to the standard output", which));
    addUrls(command, options->urls, "Members");
    addCountOption(command, "-n,--lines", options->lines,
                   fmt::format("The {} N lines; {} if not given", which, usualLines));
    addCountOption(command, "-c,--bytes", options->bytes,
                   fmt::format("The {} N bytes; 64K and 1M are units of 1024", which));
    command.setFooter(fmt::format(
        "Only the part that is wanted is asked for, where the server gives parts; else {}.\n"
        "The bytes are written as they are stored. Above each of several members stands its URL.\n"
        "-c goes before -n.\n\n"
        "Examples:\n"
        "  quillon {} -n 20 https://example.org/dav/log.txt\n"
        "  quillon {} -c 4096 https://example.org/dav/image.iso | xxd\n",
        isFirst
            ? "the answer is cut off behind it"
            : "all of it comes, and the end is kept.\nAn end above 8 MiB is not kept, but asked "
              "for twice",
        name, name));
    whenGiven(command, invocation,
              [options, end](Session& session) { return writeParts(session, *options, end); });
}

}  // namespace

void addCat(CommandDefinition program, Invocation& invocation) {
    auto urls = std::make_shared<std::vector<std::string>>();
    const CommandDefinition command =
        program.addCommand("cat", "Write members to the standard output, one after the other");
    addUrls(command, *urls, "Members");
    command.setFooter(
        "The bytes are written as they come, and nothing is kept of them. When a member breaks "
        "off, the\nreader has a part of it, and the exit code is 7.\n\n"
        "Examples:\n"
        "  quillon cat https://example.org/dav/notes.txt\n"
        "  quillon cat https://example.org/dav/a.csv https://example.org/dav/b.csv | sort\n");
    whenGiven(command, invocation, [urls](Session& session) {
        std::vector<Address> members;
        int code = exitDone;
        for (std::string& url : *urls) {
            Result<Address> address = parseUrl(session, url);
            if (address) {
                members.push_back(*std::move(address));
            } else if (code == exitDone) {
                code = exitCode(address.error().kind);
            }
        }
        const int written = writeContents(session, members);
        return code == exitDone || written == exitInterrupted ? written : code;
    });
}

void addHead(CommandDefinition program, Invocation& invocation) {
    addPartCommand(program, invocation, End::first);
}

void addTail(CommandDefinition program, Invocation& invocation) {
    addPartCommand(program, invocation, End::last);
}

}  // namespace quillon::cli
