#include "cli/session/password_file.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "cli/terminal/interrupt.hpp"

namespace quillon::cli {

Result<Secret> readPasswordFile(const std::string& path) {
    using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;
    const File opened(path == "-" ? nullptr : std::fopen(path.c_str(), "re"), std::fclose);
    std::FILE* file = path == "-" ? stdin : opened.get();
    if (file == nullptr) {
        return localError(Kind::local, "Cannot read the password file " + path + ": " +
                                           std::strerror(errno) + ".");
    }
    std::setvbuf(file, nullptr, _IONBF, 0);  // no copy in a buffer of the library's
    Secret line;
    for (int byte = std::fgetc(file); byte != EOF && byte != '\n'; byte = std::fgetc(file)) {
        line.append(static_cast<char>(byte));
    }
    if (interrupted()) return interruption();
    if (!line.empty() && line.view().back() == '\r') line.dropLast();
    if (line.empty()) {
        const std::string shown = path == "-" ? "standard input" : "password file " + path;
        return localError(Kind::local, "The " + shown + " holds no password.");
    }
    return line;
}

}  // namespace quillon::cli
