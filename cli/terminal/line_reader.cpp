#include "cli/terminal/line_reader.hpp"

#include <histedit.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cwchar>
#include <filesystem>
#include <iostream>

#include "cli/terminal/print.hpp"
#include "cli/terminal/process.hpp"
#include "cli/terminal/terminal.hpp"
#include "client/own_file.hpp"

namespace quillon::cli {
namespace {

namespace fs = std::filesystem;

constexpr int mostLines = 1000;      // of history
constexpr size_t manyChoices = 100;  // of a word

class FileReader : public LineReader {
public:
    std::optional<std::string> next(const std::string&) override {
        std::string line;
        if (interrupted() || !std::getline(std::cin, line)) return std::nullopt;
        if (line.ends_with('\r')) line.pop_back();
        return line;
    }
};

class TerminalReader : public LineReader {
public:
    TerminalReader(LineCompleter completer, LineCheck mayBeRemembered,
                   std::function<void()> eachSecond)
        : completer_(std::move(completer)),
          mayBeRemembered_(std::move(mayBeRemembered)),
          eachSecond_(std::move(eachSecond)),
          history_(history_init(), history_end),
          edit_(el_init("quillon", stdin, stdout, stderr), el_end),
          file_(stateDirectory() / "history") {
        HistEvent event;
        history(history_.get(), &event, H_SETSIZE, mostLines);
        history(history_.get(), &event, H_SETUNIQUE, 1);
        history(history_.get(), &event, H_LOAD, file_.c_str());
        el_set(edit_.get(), EL_CLIENTDATA, this);
        el_set(edit_.get(), EL_PROMPT, &promptOf);
        el_set(edit_.get(), EL_EDITOR, "emacs");
        el_set(edit_.get(), EL_HIST, history, history_.get());
        // The narrow el_set would keep copies of the texts that nobody frees.
        el_wset(edit_.get(), EL_ADDFN, L"quillon-complete", L"Complete a name", &complete);
        el_set(edit_.get(), EL_BIND, "^I", "quillon-complete", nullptr);
        el_set(edit_.get(), EL_GETCFN, &readCharacter);
        el_source(edit_.get(), nullptr);  // the person's own ~/.editrc
    }
    ~TerminalReader() override { saveHistory(); }

    std::optional<std::string> next(const std::string& prompt) override {
        prompt_ = prompt;
        takeContinued();
        // libedit's own comes behind the prompt: a Ctrl-D in between would be lost.
        el_set(edit_.get(), EL_PREP_TERM, 1);
        int count = 0;
        const char* typed = el_gets(edit_.get(), &count);
        if (typed == nullptr || count <= 0) {
            printOut("\n");
            el_reset(edit_.get());
            if (forgetInterrupt()) return std::string();
            return std::nullopt;
        }
        std::string line(typed, static_cast<size_t>(count));
        while (line.ends_with('\n') || line.ends_with('\r')) line.pop_back();
        HistEvent event;
        if (mayBeRemembered_(line)) history(history_.get(), &event, H_ENTER, line.c_str());
        return line;
    }

private:
    static TerminalReader& readerOf(EditLine* edit) {
        void* self = nullptr;
        el_get(edit, EL_CLIENTDATA, &self);
        return *static_cast<TerminalReader*>(self);
    }

    static char* promptOf(EditLine* edit) { return readerOf(edit).prompt_.data(); }

    // libedit's own would go on reading after a signal.
    static int readCharacter(EditLine* edit, wchar_t* character) {
        std::mbstate_t state{};
        for (;;) {
            char byte = 0;
            if (interrupted()) return 0;
            if (takeContinued()) {  // libedit believes that the terminal is as it left it
                el_set(edit, EL_PREP_TERM, 0);
                el_set(edit, EL_PREP_TERM, 1);
                el_set(edit, EL_REFRESH);
            }
            pollfd typed{STDIN_FILENO, POLLIN, 0};
            if (poll(&typed, 1, 1000) <= 0) {
                readerOf(edit).eachSecond_();
                continue;
            }
            const ssize_t got = read(STDIN_FILENO, &byte, 1);
            if (got < 0 && errno == EINTR) continue;
            if (got <= 0) return static_cast<int>(got);
            const size_t size = std::mbrtowc(character, &byte, 1, &state);
            if (size == static_cast<size_t>(-1)) state = {};
            if (size <= 1) return 1;
        }
    }

    static unsigned char complete(EditLine* edit, int) {
        const LineInfo* line = el_line(edit);
        const std::string_view typed(line->buffer,
                                     static_cast<size_t>(line->cursor - line->buffer));
        const Completion completion = readerOf(edit).completer_(typed);
        if (!completion.choices.empty()) {
            printOut("\n");
            if (wantsToSee(edit, completion.choices.size())) {
                for (const std::string& choice : completion.choices)
                    printOut("{}\n", harmless(choice));
            }
            flushOut();
            return CC_REDISPLAY;
        }
        if (completion.word.empty()) return CC_ERROR;
        // In characters, for those are what libedit counts.
        el_deletestr(
            edit, static_cast<int>(characters(typed.substr(typed.size() - completion.replaced))));
        el_insertstr(edit, completion.word.c_str());
        return CC_REFRESH;
    }

    static bool wantsToSee(EditLine* edit, size_t count) {
        if (count < manyChoices) return true;
        printOut("Show all {} names? y/n ", count);
        flushOut();
        wchar_t answer = L'n';
        (void)readCharacter(edit, &answer);
        printOut("\n");
        return answer == L'y' || answer == L'Y';
    }

    static size_t characters(std::string_view text) {
        return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
            return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
        }));
    }

    void saveHistory() {
        std::error_code none;
        fs::create_directories(file_.parent_path(), none);
        const mode_t before = umask(077);
        HistEvent event;
        history(history_.get(), &event, H_SAVE, file_.c_str());
        umask(before);
    }

    LineCompleter completer_;
    LineCheck mayBeRemembered_;
    std::function<void()> eachSecond_;
    std::unique_ptr<History, decltype(&history_end)> history_;
    std::unique_ptr<EditLine, decltype(&el_end)> edit_;
    fs::path file_;
    std::string prompt_;
};

}  // namespace

std::unique_ptr<LineReader> makeLineReader(LineCompleter completer, LineCheck mayBeRemembered,
                                           std::function<void()> eachSecond) {
    if (isTerminal(stdin)) {
        return std::make_unique<TerminalReader>(std::move(completer), std::move(mayBeRemembered),
                                                std::move(eachSecond));
    }
    return std::make_unique<FileReader>();
}

}  // namespace quillon::cli
