// The XML layer: trees of everything, documents of PROPFIND answers, and their way to bytes.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string>

#include "host/status.h"
#include "platform/journal.hpp"
#include "platform/markup/multistatus_builder.hpp"
#include "platform/markup/serialize.hpp"
#include "platform/markup/tree_builder.hpp"
#include "platform/markup/walk.hpp"
#include "platform/siblings.hpp"
#include "platform/status.hpp"
#include "platform/transcoder.hpp"
#include "platform/weblnk/href_resolver.hpp"

using namespace vxhost;

namespace {

struct Row {
    std::string given, expected;
};

// a(b("text") c)
std::string shown(const vx::Node* node) {
    std::string text;
    for (; node; node = node->nextSibling) {
        const auto own = shownUtf8(textOf(*node));
        if (!text.empty()) text += ' ';
        const char* quote = node->nodeType == vx::NODE_ELEMENT ? "" : "\"";
        text.append(quote).append(own).append(quote);
        if (node->firstChild) text += '(' + shown(node->firstChild) + ')';
    }
    return text;
}

// The document's tree, or what is wrong with it; fed in pieces of so many bytes.
template <class Builder>
std::string built(Builder&& builder, std::string_view xml, size_t step) try {
    for (; !xml.empty(); xml.remove_prefix(std::min(step, xml.size()))) {
        builder.feed(xml.substr(0, step));
    }
    return shown(builder.finish()->firstChild);
} catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), WEBLNK_BAD_ANSWER);
    return std::string("! ") + failure.what();
}

// The same however it is cut; long documents are not fed byte by byte.
std::string tree(std::string_view xml) {
    const auto whole = built(TreeBuilder(), xml, 1 << 20);
    if (xml.size() < 5000) {
        EXPECT_EQ(built(TreeBuilder(), xml, 1), whole);
    }
    return whole;
}

std::string listing(std::string_view xml) {
    const auto whole = built(MultistatusBuilder(), xml, 1 << 20);
    if (xml.size() < 5000) {
        EXPECT_EQ(built(MultistatusBuilder(), xml, 1), whole);
    }
    return whole;
}

std::string multistatus(std::string_view responses) {
    return "<?xml version='1.0' encoding='utf-8'?><m:multistatus xmlns:m='DAV:'>" +
           std::string(responses) + "</m:multistatus>";
}

std::string nested(size_t depth) {
    std::string xml(3 * depth, ' ');
    for (size_t i = 0; i < depth; ++i) xml.replace(3 * i, 3, "<a>");
    for (size_t i = 0; i < depth; ++i) xml += "</a>";
    return xml;
}

}  // namespace

TEST(TreeBuilder, readsNamesAndTexts) {
    const Row rows[] = {
        {"<d:a xmlns:d='DAV:'><d:b/></d:a>", "a(b)"},
        {"<a xmlns='DAV:'>\n <b>\r\n</b>\t<c> x </c> </a>", "a(b(\"\n\") c(\" x \"))"},
        {"<a/>", "{}a"},
        {"<href xmlns='dav:'/>", "{dav:}href"},
        {"<a xmlns='DAV:'><a xmlns='urn:x'><a xmlns=''/></a><a/></a>", "a({urn:x}a({}a) a)"},
        {"<D:a xmlns:D='DAV:'><D:a xmlns:D='urn:x'/><D:a/></D:a>", "a({urn:x}a a)"},
        {"<a xmlns='DAV:'>1<!-- - -->2<![CDATA[<3>]]>&#x1F600;&amp;<?p i?>4</a>",
         "a(\"12<3>😀&4\")"},
        {"<a xmlns='DAV:'>x<b/>y</a>", "a(\"x\" b \"y\")"},
        {"\r\n \t<?xml version='1.0'?><a xmlns='DAV:'/>", "a"},
        {"\xEF\xBB\xBF<a xmlns='DAV:'>\xC3\xA4</a>", "a(\"ä\")"},
        {"<?xml version='1.0' encoding='iso-8859-1'?><a xmlns='DAV:'>\xE4</a>", "a(\"ä\")"},
        {"<?xml version='1.0' encoding='windows-1252'?><a xmlns='DAV:'>\x80</a>", "a(\"€\")"},
        {std::string("\xFE\xFF\0<\0a\0>\0\xE4\0<\0/\0a\0>", 18), "{}a(\"ä\")"},
    };
    for (const auto& [given, expected] : rows) EXPECT_EQ(tree(given), expected);
    EXPECT_TRUE(tree(nested(64)).starts_with("{}a({}a("));
    EXPECT_EQ(tree("<a>" + std::string(5 << 20, 'x') + "</a>").size(), (5 << 20) + 7);
}

TEST(TreeBuilder, refusesWhatIsHostileOrBroken) {
    const std::string noType = "1: a document type is not accepted";
    const std::string notWellFormed = "1: not well-formed (invalid token)";
    const Row rows[] = {
        {"<!DOCTYPE a [<!ENTITY l 'ha'><!ENTITY m '&l;&l;&l;'>]><a>&m;&m;</a>", noType},
        {"<!DOCTYPE a SYSTEM 'file:///etc/passwd'><a/>", noType},
        {"<?pi?>\n<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'>]><a>&e;</a>",
         "2: a document type is not accepted"},
        {"<a>&e;</a>", "1: undefined entity"},
        {nested(65), "1: elements are nested too deeply"},
        {"", "1: no element found"},
        {"<a>\n</b>", "2: mismatched tag"},
        {"<a/><a/>", "1: junk after document element"},
        {"<d:a/>", "1: unbound prefix"},
        {"<a>\xE4</a>", notWellFormed},
        {"<a>\xED\xA0\x80</a>", notWellFormed},
        {"<a>&#xD800;</a>", "1: reference to invalid character number"},
        {"<?xml version='1.0' encoding='shift_jis'?><a/>", "1: unknown encoding"},
        {"<?xml version='1.0' encoding='utf-7'?><a/>", "1: unknown encoding"},
        {"<a xmlns='DAV:&#10;x'/>", "1: syntax error"},
        {"<!--" + std::string(2 << 20, '-'), notWellFormed},
        {"<!--" + std::string(2 << 20, 'x'), "1: one piece of markup is too long"},
        {"<a>" + std::string(65 << 20, 'x'), "1: the document is too large"},
    };
    for (const auto& [given, expected] : rows) EXPECT_EQ(tree(given), "! XML, line " + expected);
}

TEST(Serialize, writesWhatTheBuilderReads) {
    TreeBuilder builder;
    builder.feed(
        "<a xmlns='DAV:'><b>1 &lt; 2 &amp; \"3\" > ä&#13;</b><c xmlns='u&amp;v'><d "
        "xmlns=''/></c></a>");
    const auto document = builder.finish();
    const auto xml = serialize(*document);
    EXPECT_EQ(xml,
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<D:a xmlns:D=\"DAV:\"><D:b>1 &lt; 2 &amp; &quot;3&quot; &gt; ä&#13;</D:b>"
              "<c xmlns=\"u&amp;v\"><d xmlns=\"\"/></c></D:a>");
    EXPECT_EQ(tree(xml), shown(document->firstChild));
}

TEST(Multistatus, keepsWhatIsRead) {
    const std::string ok = "<m:status>HTTP/1.1 200 OK</m:status>";
    const std::string gone = "<m:status>HTTP/1.1 404 Not Found</m:status>";
    const auto propstat = [](const std::string& properties, const std::string& status) {
        return "<m:propstat><m:prop>" + properties + "</m:prop>" + status + "</m:propstat>";
    };
    const auto response = [](const std::string& rest) {
        return "<m:response><m:href>/a</m:href>" + rest + "</m:response>";
    };
    const std::string size = "<m:getcontentlength> 1 </m:getcontentlength>";
    const std::string date = "<m:creationdate>D</m:creationdate>";
    const std::string collection = "<m:resourcetype><m:collection/></m:resourcetype>";
    const std::string one = "getcontentlength(\"1\")";
    // Of a response to "/a" with these properties, when nothing else is named.
    const Row rows[] = {
        {response(propstat(size, ok)), one},
        {"\n <m:response>\n <m:href>\n /a\n </m:href>\n <m:propstat>\n <m:prop>\n "
         "<m:resourcetype>\n <m:collection/>\n </m:resourcetype>\n <m:displayname> n "
         "</m:displayname><m:creationdate>\nD</m:creationdate><m:getlastmodified>M\n"
         "</m:getlastmodified><m:getetag>e</m:getetag>\n </m:prop>\n " +
             ok + " </m:propstat>\n </m:response>\n",
         "displayname(\" n \") getlastmodified(\"M\") creationdate(\"D\") "
         "resourcetype(collection)"},
        {response(propstat(collection, gone) + propstat(size, ok)), one},
        {response(propstat(size, gone)), ""},
        {response(propstat(size, "")), one},
        {response("<m:propstat/>"), ""},
        {response(propstat(size, ok) + propstat(date, "<m:status>HTTP/2  204</m:status>")),
         one + " creationdate(\"D\")"},
        {response(propstat("<m:resourcetype> </m:resourcetype>", ok)), ""},
        {response(propstat("<m:displayname>a</m:displayname>", ok)), ""},
        {response(propstat("<m:getcontentlength>2</m:getcontentlength>" + size, ok)), one},
        // Names that only look like DAV's, and DAV's where they mean something else.
        {response(propstat("<getcontentlength>1</getcontentlength>"
                           "<x:creationdate xmlns:x='u'>1</x:creationdate>"
                           "<u xmlns='u'><m:displayname>n</m:displayname></u>"
                           "<m:resourcetype><collection/></m:resourcetype>",
                           ok)),
         ""},
        {response("<href>/b</href><m:href>/c</m:href>" + propstat("", ok)), ""},
        {"<response/><m:responsedescription>x</m:responsedescription>" +
             response(propstat("", ok)) + "<m:responsedescription/>",
         ""},
        {"<m:response>" + propstat("", ok) + "</m:response>", "(response(propstat(prop)))"},
        // A response without propstat.
        {response(gone) + response(propstat("", ok)), ""},
        {response(gone) + response(gone), "(response(href(\"/a\")))"},
        {response(ok), ""},
        {response(""), "(response(href(\"/a\")))"},
    };
    for (const auto& [given, seen] : rows) {
        const auto properties = seen.empty() ? "prop" : "prop(" + seen + ")";
        const auto expected =
            seen[0] == '(' ? seen : "(response(href(\"/a\") propstat(" + properties + ")))";
        EXPECT_EQ(listing(multistatus(given)), "multistatus" + expected) << given;
    }
    EXPECT_EQ(listing(multistatus("")), "multistatus");
    EXPECT_EQ(listing("<a xmlns='DAV:'><response/></a>"), "a");
    EXPECT_EQ(listing("<multistatus><response/></multistatus>"), "{}multistatus");
    EXPECT_EQ(listing(multistatus("<m:response><m:href>" + std::string(2 << 20, 'x'))),
              "! an href or a property of the answer is too long");
}

TEST(Multistatus, rewritesHrefsAndCountsWhatItSkips) {
    HrefResolver resolver("http://h/d e/");
    MultistatusBuilder builder([&](std::string_view href) { return resolver.resolve(href); });
    const std::string begin = "<m:response><m:href> /d%20e",
                      end = "</m:href><m:propstat/></m:response>";
    builder.feed(multistatus(begin + " " + end + begin + "/x" + end +
                             "<m:response><m:status>HTTP/1.1 403 No</m:status></m:response>"));
    EXPECT_EQ(shown(builder.finish()->firstChild),
              "multistatus(response(href(\"http://h/d e/\") propstat(prop)) "
              "response(href(\"http://h/d%20e/x\") propstat(prop)))");
    EXPECT_EQ(builder.skipped(), 1u);
}

TEST(Multistatus, sharesNothingThatDiffers) {
    std::string given, expected;
    for (int i = 0; i < 5000; ++i) {
        const auto row = [i](const char* format) {
            std::array<char, 300> text{};
            std::snprintf(text.data(), text.size(), format, i, i % 7, i % 3);
            return std::string(text.data());
        };
        given +=
            row("<m:response><m:href>%d</m:href><m:propstat><m:prop><m:getcontentlength>%d"
                "</m:getcontentlength><m:creationdate>%d</m:creationdate></m:prop></m:propstat>"
                "</m:response>");
        expected +=
            row(" response(href(\"%d\") propstat(prop(getcontentlength(\"%d\") "
                "creationdate(\"%d\"))))");
    }
    EXPECT_EQ(listing(multistatus(given)), "multistatus(" + expected.substr(1) + ")");
}

TEST(Multistatus, failsWhereverItIsCut) {
    const auto whole = multistatus(
        "<m:response><m:href>/\xC3\xA4</m:href><m:propstat><m:prop><m:displayname>&#228;"
        "</m:displayname></m:prop></m:propstat></m:response>");
    for (size_t length = 0; length < whole.size(); ++length) {
        EXPECT_TRUE(listing(whole.substr(0, length)).starts_with("! ")) << length;
        EXPECT_TRUE(tree(whole.substr(0, length)).starts_with("! ")) << length;
    }
}

namespace {

// Hands out its bytes in pieces.
struct Stream : vx::BlobStream {
    Stream(std::string_view text, size_t step, vx::Status atEnd)
        : vx::BlobStream{}, rest(text), piece(step), end(atEnd) {
        open = [](vx::BlobStream* self) { return of(self).note("open "); };
        close = [](vx::BlobStream* self) { return of(self).note("close"); };
        read = [](vx::BlobStream* self, const void** bytes, uint64_t* count) {
            return of(self).next(bytes, count);
        };
    }
    static Stream& of(vx::BlobStream* self) { return *static_cast<Stream*>(self); }

    vx::Status note(const char* call) {
        calls += call;
        return vx::VX_SUCCESS;
    }
    vx::Status next(const void** bytes, uint64_t* count) {
        if (rest.empty()) return end;
        *bytes = rest.data();
        *count = std::min(piece, rest.size());
        rest.remove_prefix(*count);
        return vx::VX_SUCCESS;
    }

    std::string_view rest;
    size_t piece;
    vx::Status end;
    std::string calls;
};

std::string bytesOf(std::u32string_view text) {
    return {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char32_t)};
}

// The tree, or the sentences about it.
std::string create(const std::string& bytes, uint32_t encoding, size_t step,
                   vx::Status end = vx::VX_END_OF_DATA) {
    Stream stream(bytes, step, end);
    UserJournal journal;
    vx::DocumentParms parms{};
    parms.sourceEncoding = encoding;
    parms.treeEncoding = vx::ENCODING_UTF32;
    parms.stream = &stream;
    auto* markup = reinterpret_cast<vx::Markup*>(createMarkup());
    std::string created;
    if (auto* document = markup->CreateDocument(markup, &parms, &journal, 0)) {
        created = shown(document->firstChild);
        document->Destroy(document);
    }
    for (const auto& sentence : journal.sentences()) created += "! " + sentence.text;
    markup->base.Unload(&markup->base);
    EXPECT_EQ(stream.calls, "open close");
    return created;
}

}  // namespace

TEST(Markup, createsADocumentFromAStreamOrSaysWhyNot) {
    const auto request = bytesOf(
        U"<?xml version=\"1.0\" encoding='latin1'?> <d:propfind xmlns:d=\"DAV:\"> <d:allprop/> "
        U"</d:propfind>");
    for (const size_t step : {1u, 3u, 4096u}) {
        EXPECT_EQ(create(request, vx::ENCODING_UTF32, step), "propfind(allprop)");
    }
    EXPECT_EQ(create("<a/>", 0, 2), "{}a");

    const struct {
        std::string bytes;
        uint32_t encoding;
        vx::Status end;
        const char* why;
    } rows[] = {
        {"<a>", 0, vx::VX_END_OF_DATA, "XML, line 1: no element found"},
        {"<a/>", 0, vx::VX_NO_MEMORY, "its source could not be read"},
        {bytesOf(U"<a/>") + "x", vx::ENCODING_UTF32, vx::VX_END_OF_DATA,
         "the last character is not whole"},
        {bytesOf(U"<a>") + std::string("\0\xD8\0\0", 4), vx::ENCODING_UTF32, vx::VX_END_OF_DATA,
         "a text is not well formed Unicode"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(create(row.bytes, row.encoding, 64, row.end),
                  std::string("! The XML document could not be read: ") + row.why + ".");
    }
}
