#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// Encodes into 16 bytes of room; the last line is what came there. "password length=N" or
// "null" in the script is what is handed over, "service null" takes the service away.
vx::Status encode(FakeHost& host, std::string_view password) {
    if (host.script.word("service").has("null")) host.kernel.encodingService = nullptr;
    std::string buffer(16, '.');
    uint64_t length = buffer.size();
    vx::PasswordParms parms{};
    const Answer given = host.script.word("password");
    parms.password = given.has("null") ? nullptr : password.data();
    parms.passwordLength = int64_t(given.number("length", password.size()));
    parms.encoded = buffer.data();
    parms.encodedLength = &length;
    parms.inputTranscoder = &host.textTranscoder;
    parms.outputTranscoder = &host.pathTranscoder;
    const vx::Status rc = host.extension->operations.quillonPasswordEncrypt(host.extension, &parms);
    host.say("<{}>", buffer.substr(0, length));
    return rc;
}

TEST(Password, is_decoded_and_encoded_and_wiped) {
    const auto encodeOne = [](FakeHost& host) {
        return encode(host, host.script.has("long") ? "long sesame!" : "s\xC3\xA9same!");
    };
    expectTranscripts<FakeHost>("password", {""},
                                {"long", "service null", "password null", "password length=-1",
                                 "password length=0x4000000000000000"},
                                encodeOne);
}

TEST(Password, that_is_blank_or_encoded_is_not_encoded_again) {
    const auto encoded = [](std::string_view password) {
        FakeHost host;
        EXPECT_EQ(encode(host, password), vx::VX_SUCCESS);
        return host.lines.back();
    };
    EXPECT_EQ(encoded(""), "<>");
    EXPECT_EQ(encoded("   "), "<>");
    for (const std::string text : {"{CFG}x", "{zeb", "{ZeBx}1", "{cfgenc}", "{base64}eA== "})
        EXPECT_EQ(encoded(text), "<" + text + ">");
    for (const std::string text : {"x ", "{cfgx", "{cfgenc", "{cf", " {cfg}"})
        EXPECT_EQ(encoded(text), "<{zeb}" + std::string(text.rbegin(), text.rend()) + ">");
    EXPECT_EQ(encoded("{old}x"), "<{zeb}x>");
}

}  // namespace
