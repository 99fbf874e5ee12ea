#include "cli/session/prompt.hpp"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "cli/session/sources.hpp"
#include "cli/terminal/process.hpp"

namespace quillon::cli {
namespace {

bool mayAsk = true;

constexpr int pollInterval = 200;  // ms: a signal may wake another thread than the one that asks

class Terminal {
public:
    Terminal() : descriptor_(mayAsk ? open("/dev/tty", O_RDWR | O_CLOEXEC) : -1) {}
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal() {
        if (hidden_) tcsetattr(descriptor_, TCSAFLUSH, &before_);
        if (descriptor_ >= 0) close(descriptor_);
    }

    explicit operator bool() const { return descriptor_ >= 0; }

    void hideTyping() {
        if (tcgetattr(descriptor_, &before_) != 0) return;
        hidden_ = setSilent();
    }

    // One line without its end, as far as the terminal gives one.
    Result<Secret> ask(const std::string& question) {
        takeContinued();
        if (write(descriptor_, question.data(), question.size()) < 0) return noTerminal();
        Secret line;
        for (char byte = 0;;) {
            pollfd typed{descriptor_, POLLIN, 0};
            const int ready = poll(&typed, 1, pollInterval);
            if (interrupted()) return unanswered(interruption());
            if (takeContinued()) {  // a shell may show now what is typed
                if (hidden_) setSilent();
                line = Secret();
                if (write(descriptor_, question.data(), question.size()) < 0) return noTerminal();
                continue;
            }
            if (ready <= 0) continue;
            const ssize_t got = read(descriptor_, &byte, 1);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) return noTerminal();
            if (got == 0 && line.empty()) {
                return unanswered(localError(Kind::notAuthorized, "No answer was given."));
            }
            if (got == 0 || byte == '\n') return line;
            line.append(byte);
        }
    }

    static Error noTerminal() { return localError(Kind::local, "There is no terminal to ask on."); }

private:
    // In the background this waits until the terminal is ours again.
    bool setSilent() const {
        termios silent = before_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        silent.c_lflag |= ECHONL;
        return tcsetattr(descriptor_, TCSAFLUSH, &silent) == 0;
    }

    // What is said next does not belong behind the question.
    Error unanswered(Error error) const {
        const bool told = write(descriptor_, "\n", 1) == 1;
        return told || error.kind == Kind::interrupted ? std::move(error) : noTerminal();
    }

    int descriptor_;
    bool hidden_ = false;
    termios before_{};
};

}  // namespace

bool canPrompt() {
    return static_cast<bool>(Terminal());
}

void neverPrompt() {
    mayAsk = false;
}

Result<std::string> promptLine(const std::string& question) {
    Terminal terminal;
    if (!terminal) return Terminal::noTerminal();
    Result<Secret> line = terminal.ask(question);
    if (!line) return std::move(line).error();
    return std::string(line->view());
}

Result<Secret> promptSecret(const std::string& question) {
    Terminal terminal;
    if (!terminal) return Terminal::noTerminal();
    terminal.hideTyping();
    Result<Secret> line = terminal.ask(question);
    return line ? oneLine(std::move(*line), "What was typed") : std::move(line);
}

}  // namespace quillon::cli
