#include "tests/support/nginx.hpp"

#include <sstream>

#include "tests/support/files.hpp"

namespace support {
namespace {

constexpr auto program = "/usr/sbin/nginx";
constexpr auto davExtModule = "/usr/lib/nginx/modules/ngx_http_dav_ext_module.so";

}  // namespace

bool Nginx::installed() {
    return std::filesystem::exists(program) && std::filesystem::exists(davExtModule);
}

Nginx::Nginx(const std::filesystem::path& documentRoot) : WebDavServer("nginx", documentRoot) {
    auto state = writableFolder("state");
    auto launch = [&](uint16_t port) {
        std::ostringstream out;
        out << "load_module " << davExtModule << ";\ndaemon off;\nworker_processes 1;\npid "
            << home("pid") << ";\n";
        if (!serverUser().empty()) out << "user " << serverUser() << ";\n";
        out << "events { worker_connections 256; }\nhttp {\naccess_log off;\n";
        for (const char* use : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
            out << use << "_temp_path " << state / use << ";\n";
        out << "dav_ext_lock_zone zone=locks:1m;\nserver {\nlisten 127.0.0.1:" << port << ";\nroot "
            << this->documentRoot() << R"(;
client_max_body_size 0;
keepalive_requests 100000;
location / {
dav_methods PUT DELETE MKCOL COPY MOVE;
dav_ext_methods PROPFIND OPTIONS LOCK UNLOCK;
dav_ext_lock zone=locks;
}
}
}
)";
        writeFile(home("nginx.conf"), out.str());
        return Command{{program, "-e", errorLogFile(), "-c", home("nginx.conf"), "-g",
                        "error_log " + errorLogFile().string() + " notice;"}};
    };
    start(launch, "start worker processes");
}

}  // namespace support
