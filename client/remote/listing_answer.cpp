#include "client/remote/listing_answer.hpp"

#include "client/remote/remote.hpp"
#include "platform/text/http_status.hpp"

namespace quillon {

bool mayBeMultistatus(const vxhost::Answer& answer) {
    const std::string_view type = answer.headers.first("Content-Type");
    return answer.status == 207 || type.find("xml") != type.npos;
}

Error notMultistatus(const vxhost::Answer& answer) {
    Error error = refusal(answer);
    if (!vxhost::isSuccess(answer.status)) return error;
    error.kind = Kind::network;
    error.sentences = {
        "The server's answer is no list of WebDAV. Is this the URL of a WebDAV "
        "collection, and does nothing on the way answer in its place?"};
    return error;
}

}  // namespace quillon
