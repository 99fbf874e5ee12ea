#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// Encodes into 16 bytes of room; the last line is what came there. "password length=N" in the
// script is told as the length, "service null" takes the service away.
vx::Status encode(FakeHost& host, std::string_view password) {
    if (host.script.next("service").has("null")) host.kernel.encodingService = nullptr;
    std::string buffer(16, '.');
    uint64_t length = buffer.size();
    vx::PasswordParms parms{};
    parms.password = password.data();
    parms.passwordLength = int64_t(host.script.next("password").number("length", password.size()));
    parms.encoded = buffer.data();
    parms.encodedLength = &length;
    parms.inputTranscoder = &host.textTranscoder;
    parms.outputTranscoder = &host.pathTranscoder;
    const vx::Status rc = host.extension->operations.quillonPasswordEncrypt(host.extension, &parms);
    host.say("3 <{}>", buffer.substr(0, length));
    return rc;
}

TEST(Password, is_decoded_and_encoded) {
    FakeHost host;
    host.sayPool = true;
    EXPECT_EQ(encode(host, "sésame!"), vx::VX_SUCCESS);
    host.sayPool = false;
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonPasswordEncrypt called"
        Alloc 32
        text "sésame!" into 32
        DecodeText "sésame!"
        Alloc 28
        EncodeText "sésame!"
        Alloc 48
        path "{zeb}!emasés" into 16
        Free 32
        Free 28
        Free 48
        2 "quillonPasswordEncrypt returning rc=00000000"
        3 <{zeb}!emasés>)"));
}

// The outlines name each call.
void expectEncoded(std::string_view password, const std::string& rows) {
    const auto run = [=](FakeHost& host) {
        const vx::Status rc = encode(host, password);
        for (std::string& line : host.lines)
            if (!std::isdigit(line[0]) && line.find("->") == line.npos)
                line = "3 " + line.substr(0, line.find(' '));
        return rc;
    };
    expectOutcomes<FakeHost>("quillonPasswordEncrypt", run, rows);
}

TEST(Password, what_becomes_of_it) {
    expectEncoded("", "=> 00000000: <>");
    expectEncoded("   ", "=> 00000000: text, DecodeText, path, <>");
    for (const std::string text : {"{CFG}x", "{zeb", "{ZeBx}1", "{cfgenc}", "{base64}eA== "})
        expectEncoded(text, "=> 00000000: text, DecodeText, path, <" + text + ">");
    for (const std::string text : {"x ", "{cfgx", "{cfgenc", "{cf", " {cfg}"})
        expectEncoded(text, "=> 00000000: text, DecodeText, EncodeText, path, <{zeb}" +
                                std::string(text.rbegin(), text.rend()) + ">");
    expectEncoded("{old}x", "=> 00000000: text, DecodeText, EncodeText, path, <{zeb}x>");
    expectEncoded("sesame!", R"(
        memory 1 => 803FC002: no memory for transcoded password, <>
        memory 2 => 803FC002: text, DecodeText, <>
        memory 3 => 803FC002: text, DecodeText, EncodeText, <>
        password length=-1 => 00000000: <>
        password length=0x4000000000000000 => 803FC002: no memory for transcoded password, <>
        text rc=80000001 => 80000001: text 80000001, transcode password returned rc=80000001, <>
        service null => 813FC10D: text, <>
        DecodeText rc=80000002 => 80000002: text, DecodeText 80000002, <>
        DecodeText rc=80000002 leaving => 80000002: text, DecodeText 80000002, <>
        EncodeText rc=80000003 => 80000003: text, DecodeText, EncodeText 80000003, <>
        EncodeText rc=80000003 leaving => 80000003: text, DecodeText, EncodeText 80000003, <>
    )");
    expectEncoded("long sesame!", R"(
        => 803FE807: text, DecodeText, EncodeText, path 803FE807, untranscoding password returned rc=803FE807, <>
    )");
}

}  // namespace
