#include "cli/session/file_notes.hpp"

#include <string>

#include "cli/terminal/report.hpp"

namespace quillon::cli {

FileMemory openNotes(Session& session) {
    return FileMemory([&session](const std::string& sentence) {
        session.progress().hide();
        complain(sentence);
    });
}

}  // namespace quillon::cli
