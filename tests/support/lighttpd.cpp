#include "tests/support/lighttpd.hpp"

#include <sstream>

#include "tests/support/files.hpp"

namespace support {

Lighttpd::Lighttpd(const std::filesystem::path& documentRoot)
    : WebDavServer("lighttpd", documentRoot) {
    auto state = writableFolder("state");
    auto launch = [&](uint16_t port) {
        std::ostringstream out;
        out << "server.modules = (\"mod_webdav\")\nserver.bind = \"127.0.0.1\"\nserver.port = "
            << port << "\nserver.document-root = " << this->documentRoot()
            << "\nserver.errorlog = " << errorLogFile() << "\nserver.upload-dirs = (" << state
            << ")\nwebdav.activate = \"enable\"\nwebdav.sqlite-db-name = " << state / "webdav.db"
            << "\nmimetype.assign = (\".txt\" => \"text/plain\")\n";
        if (!serverUser().empty())
            out << "server.username = \"" << serverUser() << "\"\nserver.groupname = \""
                << serverUser() << "\"\n";
        writeFile(home("lighttpd.conf"), out.str());
        return Command{{"/usr/sbin/lighttpd", "-D", "-f", home("lighttpd.conf")}};
    };
    start(launch, "server started");
}

}  // namespace support
