// The XML layer: trees of everything, documents of PROPFIND answers, and their way to bytes.
#include <gtest/gtest.h>

#include "platform/base/journal.hpp"
#include "platform/base/siblings.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/markup/multistatus_builder.hpp"
#include "platform/markup/serialize.hpp"
#include "platform/markup/tree_builder.hpp"
#include "platform/markup/walk.hpp"

using namespace vxhost;

namespace {

using Row = std::pair<std::string, std::string>;  // given, expected

// a(b("text") c)
std::string shown(const vx::Node* node) {
    std::string text;
    for (; node; node = nodeNextSibling(node)) {
        const char* quote = nodeType(node) == vx::NODE_ELEMENT ? "" : "\"";
        text.append(quote).append(shownUtf8(textOf(*node))).append(quote);
        if (const auto* child = nodeFirstChild(node)) text += '(' + shown(child) + ')';
        if (nodeNextSibling(node)) text += ' ';
    }
    return text;
}

// The tree of a document that comes byte by byte, unless it is long, or what is wrong with it.
template <class Builder>
std::string read(std::string_view xml) try {
    Builder builder;
    const size_t step = 1 + xml.size() / 5000;
    for (; !xml.empty(); xml.remove_prefix(std::min(step, xml.size())))
        builder.feed(xml.substr(0, step));
    return shown(builder.finish()->firstChild);
} catch (const Failure& failure) {
    EXPECT_EQ(failure.status(), WEBLNK_BAD_ANSWER);
    return std::string("! ") + failure.what();
}

std::string multistatus(const std::string& responses) {
    return "<multistatus xmlns='DAV:' xmlns:x='u'>" + responses + "</multistatus>";
}

std::string nested(size_t depth, std::string begin, std::string core, std::string end) {
    for (; depth > 0; --depth) core = begin + core + end;
    return core;
}

TEST(TreeBuilder, readsNamesAndTextsAndRefusesWhatIsHostileOrBroken) {
    const Row rows[] = {
        {"<a xmlns='DAV:'>\n <b>\r\n</b>\t<c> x </c> </a>", "a(b(\"\n\") c(\" x \"))"},
        {"<a xmlns='DAV:'><a xmlns='u'><a xmlns=''/></a><a/></a>", "a({u}a({}a) a)"},
        {"<D:a xmlns:D='dav:'><D:a xmlns:D='DAV:'/><D:a/></D:a>", "{dav:}a(a {dav:}a)"},
        {"<a xmlns='DAV:'>1<!-- - -->2<![CDATA[<3>]]>&#x1F600;&amp;<b/>4</a>",
         "a(\"12<3>😀&\" b \"4\")"},
        {"\r\n \t<?xml version='1.0' encoding='windows-1252'?><a xmlns='DAV:'>\x80</a>",
         "a(\"€\")"},
        {nested(63, "<a>", "<a/>", "</a>"), nested(63, "{}a(", "{}a", ")")},
        {nested(64, "<a>", "<a/>", "</a>"), "! XML, line 1: elements are nested too deeply"},
        {"<?pi?>\n<!DOCTYPE a [<!ENTITY e 'ha'>]><a>&e;</a>",
         "! XML, line 2: a document type is not accepted"},
        {"", "! XML, line 1: no element found"},
        {"<?xml version='1.0' encoding='shift_jis'?><a/>", "! XML, line 1: unknown encoding"},
        {"<?xml version='1.0' encoding='utf-7'?><a/>", "! XML, line 1: unknown encoding"},
        {"<?xml version='1.0' encoding='cp1252'?><a/>", "! XML, line 1: unknown encoding"},
        {"<a xmlns='DAV:&#10;x'/>", "! XML, line 1: syntax error"},
        {"<!--" + std::string(2 << 20, 'x'), "! XML, line 1: one piece of markup is too long"},
        {"<a>" + std::string(2 << 20, 'x') + "</a>", "{}a(\"" + std::string(2 << 20, 'x') + "\")"},
        {"<a>" + std::string(65 << 20, 'x'), "! XML, line 1: the document is too large"},
    };
    for (const auto& [given, expected] : rows) EXPECT_EQ(read<TreeBuilder>(given), expected);
}

TEST(Serialize, writesWhatTheBuilderReads) {
    TreeBuilder builder;
    builder.feed("<a xmlns='DAV:'><b>1 &lt; &amp; \"3\" > ä&#13;</b><c xmlns='u&amp;v'/></a>");
    EXPECT_EQ(serialize(*builder.finish()),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
              "<D:a xmlns:D=\"DAV:\"><D:b>1 &lt; &amp; &quot;3&quot; &gt; ä&#13;</D:b>"
              "<c xmlns=\"u&amp;v\"/></D:a>");
}

TEST(Multistatus, keepsWhatIsRead) {
    const std::string begin = "<propstat><prop>", end = "</prop></propstat>";
    const std::string ok = "</prop><status>HTTP/2  204</status></propstat>";
    const std::string gone = "</prop><status>HTTP/1.1 404 Gone</status></propstat>";
    const std::string size = "<getcontentlength> <x:b>0</x:b>1 </getcontentlength>";
    const std::string dates =
        "<creationdate>D\n</creationdate><getlastmodified>M</getlastmodified>";
    const std::string collection = "<resourcetype> <collection/> </resourcetype>";
    const std::string one = "getcontentlength(\"1\")";
    const std::string unknown = "getcontentlength(\"" + std::to_string(unknownSize) + "\")";
    // What follows the href "/a" in a response, and the properties that are kept of it.
    const Row properties[] = {
        {begin + size + end, one},
        {begin + size + gone, unknown},
        {begin + collection + dates + gone + begin + size + ok, one},
        {begin + size + ok + begin + "<displayname> n </displayname>" + dates + collection + ok,
         "displayname(\" n \") getcontentlength(\"1\") getlastmodified(\"M\") creationdate(\"D\") "
         "resourcetype(collection)"},
        {begin + "<getcontentlength>2</getcontentlength>" + size + ok, one},
        {begin + "<getcontentlength>18446744073709551616</getcontentlength>" + ok, unknown},
        {begin + "<getcontentlength>-5</getcontentlength>" + ok, unknown},
        {begin + "<getcontentlength>1e3</getcontentlength>" + ok, unknown},
        {begin + "<resourcetype> </resourcetype><displayname>a</displayname>" + ok, unknown},
        {begin + "<displayname>/a</displayname>" + ok, "displayname(\"/a\") " + unknown},
        {begin +
             "<x:creationdate>1</x:creationdate><x:y><displayname>n</displayname></x:y>"
             "<resourcetype><x:collection/></resourcetype><getetag>e</getetag>" +
             ok,
         unknown},
        {"<href>/c</href>" + begin + ok + "<status>HTTP/1.1 404 Gone</status>", unknown},
        {"<status>HTTP/1.1 200 OK</status>", unknown},
    };
    for (const auto& [given, kept] : properties)
        EXPECT_EQ(read<MultistatusBuilder>(
                      multistatus("<response><href>\n /a </href>" + given + "</response>")),
                  "multistatus(response(href(\"/a\") propstat(prop" +
                      (kept.empty() ? kept : '(' + kept + ')') + ")))");

    const std::string member = "<response><href>/\xC3\xA4&#228;</href></response>";
    const std::string refused =
        "<response><href>/b</href><status>HTTP/1.1 403 No</status></response>";
    const Row documents[] = {
        {multistatus(""), "multistatus"},
        {multistatus("<response>" + begin + ok + "</response>"),
         "multistatus(response(propstat(prop(" + unknown + "))))"},
        {multistatus("<x:response/>" + refused + member + "<responsedescription/>"),
         "multistatus(response(href(\"/ää\")))"},
        {multistatus(refused + "<response><status>HTTP/1.1 403 No</status></response>"),
         "multistatus(response(href(\"/b\")))"},
        {"<a xmlns='DAV:'><response/></a>", "a"},
        {"<multistatus>" + member + "</multistatus>", "{}multistatus"},
        {multistatus("<response><href>" + std::string(2 << 20, 'x')),
         "! an href or a property of the answer is too long"},
    };
    for (const auto& [given, expected] : documents)
        EXPECT_EQ(read<MultistatusBuilder>(given), expected);
    for (std::string cut = multistatus(member); !cut.empty();) {
        cut.pop_back();
        EXPECT_TRUE(read<MultistatusBuilder>(cut).starts_with("! XML, line 1: ")) << cut;
    }
}

TEST(Multistatus, sharesNothingThatDiffers) {
    std::string given, expected;
    for (int i = 0; i < 5000; ++i) {
        const auto date = std::to_string(i), size = std::to_string(i % 70);
        const bool isCollection = i % 3 == 0;
        given += "<response><propstat><prop><getcontentlength>" + size +
                 "</getcontentlength><getlastmodified>" + date + "</getlastmodified>" +
                 (isCollection ? "<resourcetype><collection/></resourcetype>"
                               : "<creationdate>D</creationdate>") +
                 "</prop></propstat></response>";
        expected += std::string(i > 0 ? " " : "") + "response(propstat(prop(getcontentlength(\"" +
                    size + "\") getlastmodified(\"" + date + "\")" +
                    (isCollection ? " resourcetype(collection)" : " creationdate(\"D\")") + ")))";
    }
    EXPECT_EQ(read<MultistatusBuilder>(multistatus(given)), "multistatus(" + expected + ")");
}

TEST(Markup, readsUtf32InPiecesWhateverItDeclares) {
    constexpr std::u32string_view text =
        U"<?xml version='1.0' encoding='latin1'?> <d:a xmlns:d='DAV:'> ä</d:a>";
    static std::string_view left;
    const auto nothing = [](vx::BlobStream*) { return vx::VX_SUCCESS; };
    const auto threeBytes = [](vx::BlobStream*, const void** piece, uint64_t* bytes) {
        *piece = left.data();
        *bytes = std::min<size_t>(3, left.size());
        left.remove_prefix(*bytes);
        return *bytes > 0 ? vx::VX_SUCCESS : vx::VX_END_OF_DATA;
    };
    vx::BlobStream stream{nothing, nothing, threeBytes, nullptr, nullptr, 0, 0};
    vx::DocumentParms parms{};
    parms.sourceEncoding = parms.treeEncoding = vx::ENCODING_UTF32;
    parms.stream = &stream;
    auto* markup = reinterpret_cast<vx::Markup*>(createMarkup());
    left = {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char32_t)};
    auto* document = markup->CreateDocument(markup, &parms, nullptr, 0);
    EXPECT_EQ(shown(document->firstChild), "a(\" ä\")");
    document->Destroy(document);
    UserJournal journal;
    left = {reinterpret_cast<const char*>(text.data()), text.size() * sizeof(char32_t) - 1};
    EXPECT_EQ(markup->CreateDocument(markup, &parms, &journal, 0), nullptr);
    EXPECT_EQ(journal.take().at(0).text,
              "The XML document could not be read: the last character is not whole.");
    markup->base.Unload(&markup->base);
}

}  // namespace
