// quillon ls: what a collection holds.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>
#include <memory_resource>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "cli/commands/change/lock_text.hpp"
#include "cli/commands/command.hpp"
#include "cli/commands/look/member_locks.hpp"
#include "cli/commands/look/visit_trees.hpp"
#include "cli/commands/what_is_there.hpp"
#include "cli/session/servers.hpp"
#include "cli/terminal/colours.hpp"
#include "cli/terminal/format.hpp"
#include "cli/terminal/json.hpp"
#include "cli/terminal/print.hpp"
#include "cli/terminal/report.hpp"
#include "cli/terminal/table.hpp"
#include "cli/terminal/terminal.hpp"
#include "platform/text/url.hpp"

namespace quillon::cli {
namespace {

struct LsOptions {
    std::vector<std::string> urls;
    bool details = false;
    bool exactSizes = false;
    bool forPeople = false;  // as sizes are anyway
    bool hidden = false;
    bool aLine = false;
    bool byDate = false;
    bool bySize = false;
    bool reversed = false;
    bool recursive = false;
    bool locks = false;
    bool json = false;
};

// Of one member; the texts are in the Lines.
struct Line {
    std::string_view name, key;
    const Resource* resource;
    const FoundLock* lock = nullptr;

    bool isCollection() const { return resource->isCollection; }
    std::optional<uint64_t> size() const { return resource->size; }
    std::optional<Time> modified() const { return resource->modified; }
};

struct Lines {
    std::pmr::monotonic_buffer_resource texts;
    std::vector<Line> all;

    std::string_view keep(std::string_view text) {
        auto* kept = static_cast<char*>(texts.allocate(text.size(), 1));
        text.copy(kept, text.size());
        return {kept, text.size()};
    }
    void add(const std::string& name, const Resource& resource) {
        const std::string key = collationKey(name);
        const auto kept = keep(name);
        all.push_back({kept, key == name ? kept : keep(key), &resource});
    }
};

// On a terminal who reads the details wants to know of locks, too.
bool wantsLocks(const LsOptions& options) {
    const bool isShown = options.details && isTerminal(stdout) && !options.json;
    return options.locks || (isShown && !options.recursive);
}

std::string shownName(std::string_view name, bool isCollection) {
    return forOutput(name) + (isCollection ? "/" : "");
}

// What has no size or date comes last.
void sortLines(std::vector<Line>& lines, const LsOptions& options) {
    const auto byName = [](const Line& a, const Line& b) {
        return std::tie(a.key, a.name) < std::tie(b.key, b.name);
    };
    // The listing's own order is often this one already.
    if (!std::is_sorted(lines.begin(), lines.end(), byName)) {
        std::sort(lines.begin(), lines.end(), byName);
    }
    if (options.byDate) std::ranges::stable_sort(lines, std::greater(), &Line::modified);
    if (options.bySize) std::ranges::stable_sort(lines, std::greater(), &Line::size);
    if (options.reversed) std::ranges::reverse(lines);
}

bool isHidden(std::string_view name) {
    return name.starts_with('.');
}

std::unique_ptr<Lines> linesOf(const std::vector<Resource>& members, const LsOptions& options) {
    auto lines = std::make_unique<Lines>();
    lines->all.reserve(members.size());
    for (const Resource& each : members) {
        const std::string name = vxhost::segmentBytes(each.segment);
        if (options.hidden || !isHidden(name)) lines->add(name, each);
    }
    sortLines(lines->all, options);
    return lines;
}

// Lines as the options want them.
class Printer {
public:
    explicit Printer(const LsOptions& options) : options_(options) {}

    void print(const std::vector<Line>& lines) const {
        if (options_.details) {
            printTable(lines);
        } else if (isTerminal(stdout) && !options_.aLine) {
            printColumns(lines);
        } else {
            printNames(lines);
        }
    }

private:
    std::string painted(const Line& line) const {
        return colours_.painted(shownName(line.name, line.isCollection()), line.name,
                                line.isCollection());
    }
    std::string marked(const Line& line) const {
        return line.lock ? painted(line) + "  " + forOutput(lockText(*line.lock)) : painted(line);
    }
    // In columns there is no room for more.
    static std::string shortMark(const Line& line) { return line.lock ? " (locked)" : ""; }
    std::string sizeText(std::optional<uint64_t> size) const {
        return options_.exactSizes && size ? std::to_string(*size) : shortSize(size);
    }

    void printTable(const std::vector<Line>& lines) const {
        Table table({Align::right, Align::left, Align::left});
        for (const Line& line : lines) {
            table.add(sizeText(line.size()), localDate(line.modified()), marked(line));
        }
        table.print();
    }

    void printColumns(const std::vector<Line>& lines) const {
        std::vector<std::string> names;
        names.reserve(lines.size());
        for (const Line& line : lines) {
            names.push_back(shownName(line.name, line.isCollection()) + shortMark(line));
        }
        writeOut(inColumns(names, terminalWidth(),
                           [&](size_t n) { return painted(lines[n]) + shortMark(lines[n]); }));
    }

    // A name a line for other programs.
    void printNames(const std::vector<Line>& lines) const {
        LineOutput output;
        for (const Line& line : lines) {
            output.text() += marked(line) + '\n';
            output.endLine();
        }
    }

    const LsOptions& options_;
    const NameColours colours_ = NameColours::ofOutput();
};

// What stands before the members of a collection where several are listed.
class Headings {
public:
    void print(const std::string& url) {
        separate();
        printOut("{}:\n", forOutput(url));
    }
    // From what was listed before.
    void separate() {
        if (!std::exchange(first_, false)) printOut("\n");
    }

private:
    bool first_ = true;
};

// An array of all that is listed, an element a line; nothing where nothing could be.
class JsonArray {
public:
    JsonArray() = default;
    JsonArray(const JsonArray&) = delete;
    JsonArray& operator=(const JsonArray&) = delete;
    ~JsonArray() {
        if (begun_) output_.text() += first_ ? "[]\n" : "]\n";
    }

    void begin() { begun_ = true; }
    void add(const JsonObject& object) {
        output_.text() += std::exchange(first_, false) ? "[" : ",\n ";
        output_.text() += object.text();
        output_.endLine();
    }

private:
    LineOutput output_;
    bool begun_ = false;
    bool first_ = true;
};

class Listings {
public:
    Listings(Session& session, const LsOptions& options)
        : session_(session), options_(options), printer_(options) {
        if (options.json) array_.emplace();
    }

    // A URL without a final slash may mean either: a listing that fails or holds nothing is not
    // enough to tell, since some servers list a member as an empty collection.
    Result<void> list(const Address& address) {
        const Address collection = address.asCollection();
        Result<Members> listed = session_.list(collection, wanted());
        const bool unsure =
            listed ? listed->resources.empty()
                   : listed.error().kind == Kind::notFound || listed.error().kind == Kind::refused;
        if (unsure && address.namesMember()) {
            const auto found = session_.servers().look(address, wanted());
            if (found && *found && !(*found)->isCollection) {
                const Result<MemberLocks> locks = findLocks(address, 1);
                if (!locks) return locks.error();
                printMember(address, **found, *locks);
                return {};
            }
        }
        if (!listed) return explainNotOpened(session_, collection, std::move(listed).error());
        const Result<MemberLocks> locks = findLocks(collection, listed->resources.size());
        if (!locks) return locks.error();
        printMembers(collection, *listed, *locks);
        flushOut();
        return {};
    }
    int code() const { return code_; }  // of what was missing in a listing

private:
    WantedProperties wanted() const {
        const bool reads = options_.details || options_.byDate || options_.bySize || options_.json;
        return {.details = reads, .created = options_.json};
    }

    // Nothing unless they are wanted; what was not asked for by name may be refused, and is not
    // worth the answer of a large collection. members: how many it has.
    Result<MemberLocks> findLocks(const Address& address, size_t members) {
        constexpr size_t mostUnasked = 10'000;
        const bool isMuch = members > mostUnasked && !options_.locks;
        if (!wantsLocks(options_) || isMuch) return MemberLocks(std::nullopt);
        auto found = session_.servers().with(address, [&](Remote& remote) {
            return remote.run(quillon::findLocks(remote, address.url()));
        });
        if (!found && options_.locks) return std::move(found).error();
        return MemberLocks(found ? std::move(*found) : std::nullopt,
                           address.namesMember() ? address.name() : "");
    }

    void add(JsonObject object, const FoundLock* lock, const MemberLocks& locks) {
        if (options_.locks && locks.areTold()) addLock(object, lock, notes_);
        array_->add(object);
    }

    void printMembers(const Address& collection, const Members& listed, const MemberLocks& locks) {
        if (listed.unreadable > 0) code_ = tellUnreadable(collection.url(), listed.unreadable);
        const auto lines = linesOf(listed.resources, options_);
        for (Line& line : lines->all) line.lock = locks.on(std::string(line.name));
        if (!array_) {
            if (options_.urls.size() > 1) headings_.print(collection.url());
            return printer_.print(lines->all);
        }
        array_->begin();
        for (const Line& line : lines->all) {
            const std::string& segment = line.resource->segment;
            add(describe(vxhost::decodeSegment(segment),
                         collection.url() + segment + (line.isCollection() ? "/" : ""),
                         *line.resource),
                line.lock, locks);
        }
    }

    void printMember(const Address& address, const Resource& member, const MemberLocks& locks) {
        const FoundLock* lock = locks.on(address.name());
        if (array_) {
            array_->begin();
            return add(describe(address.name(), address.url(), member), lock, locks);
        }
        if (options_.urls.size() > 1) headings_.separate();
        Lines lines;
        lines.add(address.name(), member);
        lines.all.front().lock = lock;
        printer_.print(lines.all);
    }

    Session& session_;
    const LsOptions& options_;
    const Printer printer_;
    Headings headings_;
    std::optional<JsonArray> array_;
    OwnNotes notes_;
    int code_ = exitDone;
};

// Whole trees, many collections at a time.
class TreeListing : public TreeVisitor {
public:
    explicit TreeListing(const LsOptions& options) : options_(options), printer_(options) {}

    bool wants(std::string_view path, bool) const override {
        return options_.hidden || !isHidden(path.substr(path.rfind('/') + 1));
    }
    void meet(const Visited& each) override {
        const bool isStart = each.depth == 0 && each.resource.isCollection;
        if (options_.json && !isStart) {
            output.text() += describe(each).text() + '\n';
            output.endLine();
        } else if (!options_.json && each.depth == 0 && !isStart) {
            Lines lines;
            lines.add(each.name, each.resource);
            printer_.print(lines.all);
        }
    }
    void open(const Visited& collection, const std::vector<Resource>& members) override {
        if (options_.json) return;
        headings_.print(collection.url);
        printer_.print(linesOf(members, options_)->all);
    }

private:
    const LsOptions& options_;
    const Printer printer_;
    Headings headings_;
};

int runLs(Session& session, LsOptions& options) {
    if (options.recursive) {
        TreeListing listing(options);
        return visitTrees(session, options.urls, std::nullopt, listing);
    }
    if (options.urls.empty()) options.urls.emplace_back();
    Listings listings(session, options);
    const int code = forEachUrl(session, options.urls, "list",
                                [&](const Address& address) { return listings.list(address); });
    return code == exitDone ? listings.code() : code;
}

}  // namespace

void addLs(CommandDefinition program, Invocation& invocation) {
    auto options = std::make_shared<LsOptions>();
    const CommandDefinition command = program.addCommand("ls", "List a collection");
    command.takeShortHelp();
    addTreeUrls(command, invocation, options->urls);
    command.addFlag("-l,--long", options->details, "Sizes and dates of modification, too");
    const auto people = command.addFlag("-h,--human-readable", options->forPeople,
                                        "Sizes for people: 12.3 MiB, as they are anyway");
    command.addFlag("--bytes", options->exactSizes, "With -l: sizes in bytes").excludes(people);
    command.addFlag("-a,--all", options->hidden, "Names that begin with a dot, too");
    command.addFlag("-1", options->aLine, "A name a line, on a terminal too");
    const auto recursive =
        command.addFlag("-R,--recursive", options->recursive, "What lies in the collections, too");
    command
        .addFlag("--locks", options->locks,
                 "Mark what is locked, and by whom; -l does so on a terminal, but for trees")
        .excludes(recursive);
    const auto byDate = command.addFlag("-t", options->byDate, "The latest change first");
    command.addFlag("-S", options->bySize, "The largest first").excludes(byDate);
    command.addFlag("-r,--reverse", options->reversed, "In reverse order");
    command.addFlag("--json", options->json,
                    "An array of objects; with -R an object a line, with its path");
    command.setFooter(
        "Sub-collections end in \"/\". Names are shown decoded, as get takes them.\n\n"
        "On a terminal names stand in columns, and in the colours of LS_COLORS unless NO_COLOR is\n"
        "set. With -R, and for several URLs, the URL of each collection stands above its members.\n"
        "A collection that cannot be listed is told on standard error, and the exit code says so;\n"
        "the rest is listed.\n\n"
        "With --locks and --json an object has \"locked\", and of a lock \"holder\", \"until\" "
        "and\n"
        "\"mine\", as info has them. A server that does not tell of locks is shown without.\n\n"
        "Examples:\n"
        "  quillon ls https://example.org/dav/\n"
        "  quillon ls -lt --user ann https://example.org/dav/reports/\n"
        "  quillon ls -R https://example.org/dav/reports/\n"
        "  quillon ls --json https://example.org/dav/ | jq -r '.[].url'\n");
    whenGiven(command, invocation,
              [options](Session& session) { return runLs(session, *options); });
}

}  // namespace quillon::cli
