// A private nginx with the dav and dav-ext modules.
#pragma once

#include "tests/support/web_dav_server.hpp"

namespace support {

class Nginx : public WebDavServer {
    static constexpr auto program = "/usr/sbin/nginx";
    static constexpr auto davExtModule = "/usr/lib/nginx/modules/ngx_http_dav_ext_module.so";

public:
    static bool installed() {
        return std::filesystem::exists(program) && std::filesystem::exists(davExtModule);
    }

    explicit Nginx(const std::filesystem::path& documentRoot = {})
        : WebDavServer("nginx", documentRoot) {
        start({program, "-e", "{log}", "-c", "{home}/conf", "-g", "error_log {log} notice;"},
              "start worker processes", std::string("load_module ") + davExtModule + R"(;
daemon off;
worker_processes 1;
pid {home}/pid;
?user {user};
events { worker_connections 256; }
http {
access_log off;
client_body_temp_path {home}/state/body;
proxy_temp_path {home}/state/proxy;
fastcgi_temp_path {home}/state/fastcgi;
uwsgi_temp_path {home}/state/uwsgi;
scgi_temp_path {home}/state/scgi;
dav_ext_lock_zone zone=locks:1m;
server {
listen 127.0.0.1:{port};
root {root};
client_max_body_size 0;
keepalive_requests 100000;
location / {
dav_methods PUT DELETE MKCOL COPY MOVE;
dav_ext_methods PROPFIND OPTIONS LOCK UNLOCK;
dav_ext_lock zone=locks;
}
}
}
)");
    }
};

}  // namespace support
