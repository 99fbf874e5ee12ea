#include "tests/support/dav_tree.hpp"

namespace support {
namespace {

constexpr auto methods =
    "OPTIONS,GET,HEAD,POST,DELETE,PROPFIND,PROPPATCH,COPY,MOVE,PUT,MKCOL,LOCK,UNLOCK";

std::string element(const std::string& name, const std::string& text) {
    return text.empty() ? "" : "<D:" + name + ">" + text + "</D:" + name + ">\n";
}

bool isCollection(const DavMember& member) {
    return member.name.ends_with('/');
}

// The rules of one resource; `listing`: the responses for its members.
void serve(ScriptedServer& server, const std::string& target, const DavMember& member,
           const std::string& listing) {
    std::string self = davResponse(target, member);
    server.on("PROPFIND", target, [self, listing](const Request& request) {
        bool deep = request.field("Depth") != "0";
        return Answer::xml(207, davMultistatus(deep ? self + listing : self));
    });
    Answer content = Answer(200, member.content);
    content.with("Last-Modified", member.lastModified).with("ETag", "\"1\"");
    server.on("HEAD", target, content).on("GET", target, content);
    server.on("DELETE", target, Answer(204)).on("MOVE", target, Answer(201));
    server.on("MKCOL", target, Answer(405));
    server.on("PUT", target, Answer(204));
}

}  // namespace

std::string davResponse(std::string_view href, const DavMember& member) {
    std::string length = isCollection(member) ? "" : std::to_string(member.content.size());
    return "<D:response>\n<D:href>" + std::string(href) + "</D:href>\n<D:propstat>\n<D:prop>\n" +
           element("displayname", member.displayName) + element("creationdate", member.created) +
           element("getlastmodified", member.lastModified) + element("getcontentlength", length) +
           (isCollection(member) ? "<D:resourcetype><D:collection/></D:resourcetype>\n"
                                 : "<D:resourcetype/>\n") +
           "</D:prop>\n<D:status>HTTP/1.1 200 OK</D:status>\n</D:propstat>\n</D:response>\n";
}

std::string davMultistatus(std::string_view responses) {
    return "<D:multistatus xmlns:D=\"DAV:\">\n" + std::string(responses) + "</D:multistatus>\n";
}

void serveTree(ScriptedServer& server, const std::string& collection,
               const std::vector<DavMember>& members) {
    server.on("*", collection + "*", Answer(404));
    server.on("OPTIONS", collection + "*", Answer(200).with("Allow", methods).with("DAV", "1,2"));
    server.on("PUT", collection + "*", Answer(201)).on("MKCOL", collection + "*", Answer(201));
    std::string lock = std::string("<D:prop xmlns:D=\"DAV:\"><D:lockdiscovery><D:activelock>") +
                       "<D:locktype><D:write/></D:locktype><D:lockscope><D:exclusive/>" +
                       "</D:lockscope><D:depth>0</D:depth><D:timeout>Second-600</D:timeout>" +
                       "<D:locktoken><D:href>" + davLockToken + "</D:href></D:locktoken>" +
                       "</D:activelock></D:lockdiscovery></D:prop>";
    server.on("LOCK", collection + "*",
              Answer::xml(200, lock).with("Lock-Token", std::string("<") + davLockToken + ">"));
    server.on("UNLOCK", collection + "*", Answer(204));

    std::string listing;
    for (const DavMember& member : members) {
        serve(server, collection + member.name, member, "");
        listing += davResponse(collection + member.name, member);
    }
    serve(server, collection, {.name = collection}, listing);
}

}  // namespace support
