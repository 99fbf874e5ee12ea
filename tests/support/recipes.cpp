// How lighttpd, nginx and rclone are started.
#include "tests/support/web_dav_server.hpp"

namespace support {
namespace {

constexpr auto nginx = "/usr/sbin/nginx";
constexpr auto davExt = "/usr/lib/nginx/modules/ngx_http_dav_ext_module.so";

constexpr auto lighttpdConfiguration = R"(
server.modules = ("mod_webdav")
server.bind = "127.0.0.1"
server.port = {port}
server.document-root = "{root}"
server.errorlog = "{log}"
server.upload-dirs = ("{home}/state")
webdav.activate = "enable"
webdav.sqlite-db-name = "{home}/state/webdav.db"
mimetype.assign = (".txt" => "text/plain")
?server.username = "{user}"
?server.groupname = "{user}"
)";

constexpr auto nginxConfiguration = R"(
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
)";

}  // namespace

Lighttpd::Lighttpd(const std::filesystem::path& documentRoot)
    : WebDavServer({.name = "lighttpd",
                    .arguments = {"/usr/sbin/lighttpd", "-D", "-f", "{home}/conf"},
                    .ready = "server started",
                    .files = {{"conf", lighttpdConfiguration}}},
                   documentRoot) {}

Nginx::Nginx(const std::filesystem::path& documentRoot)
    : WebDavServer(
          {.name = "nginx",
           .arguments = {nginx, "-e", "{log}", "-c", "{home}/conf", "-g",
                         "error_log {log} notice;"},
           .ready = "start worker processes",
           .files = {{"conf", std::string("load_module ") + davExt + ";" + nginxConfiguration}}},
          documentRoot) {}

bool Nginx::installed() {
    return std::filesystem::exists(nginx) && std::filesystem::exists(davExt);
}

// Members that a test makes in the folder are to be seen at once.
Rclone::Rclone(const std::filesystem::path& documentRoot)
    : WebDavServer({.name = "rclone",
                    .arguments = {"rclone", "serve", "webdav", "{root}", "--addr",
                                  "127.0.0.1:{port}", "--config", "{home}/conf", "--cache-dir",
                                  "{home}/state", "--dir-cache-time", "0s", "--log-file", "{log}"},
                    .ready = "WebDav Server started"},
                   documentRoot) {}

}  // namespace support
