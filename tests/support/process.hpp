// Programs run by tests: with pipes, or in a terminal of their own where they prompt for a password
// or draw a progress bar. What goes wrong with running them throws std::exception.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace support {

using Duration = std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr Duration patience{60'000};  // for what must happen; a loaded machine is slow

struct Command {
    std::vector<std::string> arguments{};  // the program, looked up in PATH, comes first
    std::map<std::string, std::string> environment{};  // over the caller's own
    std::string input{};                // standard input, a pipe that ends after it; up to 1 MiB
    std::filesystem::path directory{};  // empty: the caller's own
};

struct Outcome {
    int exitCode = -1;  // -1: ended by a signal
    std::string output;
    std::string errors;
    long peakKiB = 0;  // resident memory, of the process and the children it reaped
};

enum class Streams { pipes, terminal };

// Leads a session and a process group of its own, which is killed at the end of the scope, and gets
// SIGTERM when the thread that started it dies.
class RunningProcess {
public:
    // In a terminal the input of the command is typed and not ended; standard error joins output.
    explicit RunningProcess(const Command& command, Streams streams = Streams::pipes);
    ~RunningProcess();
    RunningProcess(const RunningProcess&) = delete;
    RunningProcess& operator=(const RunningProcess&) = delete;

    pid_t pid() const { return pid_; }
    bool running();  // also takes in the output that is there

    void signal(int number) const;           // to the process alone; in a terminal "\x03" is Ctrl-C
    void send(std::string_view text) const;  // types it in the terminal

    // Waits for text in the output behind the last text found. False: it ended, or time is out.
    bool expect(std::string_view text);

    // Nothing when time is out.
    std::optional<Outcome> wait(Duration deadline = patience);

    const std::string& output() const { return outcome_.output; }
    const std::string& errors() const { return outcome_.errors; }

private:
    pid_t pid_ = -1;
    int out_ = -1, err_ = -1;  // out_: or the terminal
    bool reaped_ = false;
    size_t found_ = 0;
    Outcome outcome_;
};

// Looks often, until the condition holds or the deadline passes.
bool eventually(const std::function<bool()>& condition, Duration deadline = patience);

// Runs to the end. Throws with what was printed when that takes too long.
Outcome run(const Command& command);

// The same for steps that must succeed: the output; throws when the exit code is not 0.
std::string runChecked(const Command& command);

}  // namespace support
