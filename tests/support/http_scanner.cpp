#include "tests/support/http_scanner.hpp"

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/basic_parser.hpp>
#include <boost/beast/http/error.hpp>
#include <limits>
#include <utility>

namespace support {

namespace http = boost::beast::http;
using boost::beast::error_code;
using Text = boost::beast::string_view;

template <bool isRequest>
class HttpScanner<isRequest>::Parser : public http::basic_parser<isRequest> {
public:
    Parser() {
        this->header_limit(1 << 20);
        this->body_limit(std::numeric_limits<uint64_t>::max());
    }
    MessageHead head;
    std::string content;

private:
    void on_request_impl(http::verb, Text method, Text target, int, error_code&) override {
        head.method = std::string(method);
        head.target = std::string(target);
    }
    void on_response_impl(int code, Text, int, error_code&) override { head.status = code; }
    void on_field_impl(http::field, Text name, Text value, error_code&) override {
        std::string& field = head.fields[std::string(name)];
        field += (field.empty() ? "" : ", ") + std::string(value);
    }
    void on_header_impl(error_code&) override {}
    void on_body_init_impl(const boost::optional<uint64_t>&, error_code&) override {}
    size_t on_body_impl(Text body, error_code&) override { return keep(body); }
    void on_chunk_header_impl(uint64_t, Text, error_code&) override {}
    size_t on_chunk_body_impl(uint64_t, Text body, error_code&) override { return keep(body); }
    void on_finish_impl(error_code&) override {}

    size_t keep(Text body) {
        content.append(body.data(), body.size());
        return body.size();
    }
};

template <bool isRequest>
std::string HttpScanner<isRequest>::parse() {
    error_code error;
    size_t used = parser_->put(boost::asio::buffer(pending_), error);
    if (error && error != http::error::need_more) throw boost::system::system_error(error);
    std::string taken = pending_.substr(0, used);
    pending_.erase(0, used);
    return taken;
}

template <bool isRequest>
std::optional<MessageHead> HttpScanner<isRequest>::takeHead(bool noBody) {
    if (pending_.empty()) return std::nullopt;
    if (!parser_ || parser_->is_done()) {
        parser_ = std::make_shared<Parser>();
        if constexpr (!isRequest) parser_->skip(noBody);
    }
    parser_->head.raw += parse();
    if (!parser_->is_header_done()) return std::nullopt;
    parser_->eager(true);
    parser_->head.length = parser_->content_length().value_or(0);
    return std::move(parser_->head);
}

template <bool isRequest>
std::string HttpScanner<isRequest>::takeBody(std::string& content) {
    std::string raw;
    while (!pending_.empty() && !done()) {
        std::string piece = parse();
        if (piece.empty()) break;
        raw += piece;
    }
    content += std::exchange(parser_->content, {});
    return raw;
}

template <bool isRequest>
bool HttpScanner<isRequest>::done() const {
    return parser_ && parser_->is_done();
}

template class HttpScanner<true>;
template class HttpScanner<false>;

}  // namespace support
