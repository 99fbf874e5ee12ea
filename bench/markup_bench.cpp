// The answer to a PROPFIND of many members on its way into a document, beside expat reading the
// same bytes for nobody: the difference is ours. "bytes/member" is what the document keeps.
#include <benchmark/benchmark.h>
#include <expat.h>
#include <fmt/format.h>

#include <algorithm>
#include <random>
#include <string>

#include "platform/markup/multistatus_builder.hpp"
#include "platform/text/href_resolver.hpp"

namespace {

constexpr size_t PIECE = 16 << 10;  // bytes, as they come from a connection

// As Apache answers. Distinct: every member has a size and dates of its own, so nothing is shared.
std::string answer(int64_t members, bool distinct) {
    std::mt19937 random{1};
    std::string xml =
        "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<D:multistatus xmlns:D=\"DAV:\">";
    for (int64_t i = 0; i < members; ++i) {
        const auto second = distinct ? random() % 86400 : 0;
        const auto time =
            fmt::format("{:02}:{:02}:{:02}", second / 3600, second / 60 % 60, second % 60);
        const auto size = distinct ? random() : 4096;
        xml += fmt::format(
            "<D:response xmlns:lp1=\"DAV:\" xmlns:lp2=\"http://apache.org/dav/props/\">\n"
            "<D:href>/dav/big/file{0:06}.txt</D:href>\n<D:propstat>\n<D:prop>\n"
            "<lp1:resourcetype/>\n<lp1:creationdate>2026-11-24T{1}Z</lp1:creationdate>\n"
            "<lp1:getcontentlength>{2}</lp1:getcontentlength>\n"
            "<lp1:getlastmodified>Tue, 24 Nov 2026 {1} GMT</lp1:getlastmodified>\n"
            "<lp1:getetag>\"{2:x}-{0:x}\"</lp1:getetag>\n<lp2:executable>F</lp2:executable>\n"
            "<D:supportedlock>\n<D:lockentry>\n<D:lockscope><D:exclusive/></D:lockscope>\n"
            "<D:locktype><D:write/></D:locktype>\n</D:lockentry>\n</D:supportedlock>\n"
            "<D:lockdiscovery/>\n</D:prop>\n<D:status>HTTP/1.1 200 OK</D:status>\n"
            "</D:propstat>\n</D:response>\n",
            i, time, size);
    }
    return xml + "</D:multistatus>\n";
}

template <class Feed>
void feedPieces(std::string_view xml, Feed&& feed) {
    for (; !xml.empty(); xml.remove_prefix(std::min(PIECE, xml.size()))) feed(xml.substr(0, PIECE));
}

void expatAlone(benchmark::State& state) {
    const auto xml = answer(state.range(0), true);
    for (auto _ : state) {
        XML_Parser parser = XML_ParserCreateNS(nullptr, '\n');
        feedPieces(xml, [&](std::string_view piece) {
            XML_Parse(parser, piece.data(), static_cast<int>(piece.size()), 0);
        });
        XML_ParserFree(parser);
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(xml.size()));
}

void multistatus(benchmark::State& state, bool distinct) {
    const auto xml = answer(state.range(0), distinct);
    uint64_t kept = 0;
    for (auto _ : state) {
        vxhost::HrefResolver resolver("http://127.0.0.1:8080/dav/big/");
        vxhost::MultistatusBuilder builder(
            [&](std::string_view href) { return resolver.resolve(href); });
        feedPieces(xml, [&](std::string_view piece) { builder.feed(piece); });
        kept = builder.finish()->bytes();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(xml.size()));
    state.counters["bytes/member"] =
        static_cast<double>(kept) / static_cast<double>(state.range(0));
}

BENCHMARK(expatAlone)->Arg(1000)->Arg(100'000)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(multistatus, distinct, true)
    ->Arg(1000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(multistatus, alike, false)
    ->Arg(1000)
    ->Arg(100'000)
    ->Unit(benchmark::kMillisecond);

}  // namespace
