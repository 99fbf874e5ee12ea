#include "tests/extension/operation.hpp"

namespace {

using namespace test;

// The encoded text, or what little the length says of it.
std::string encode(FakeHost& host, std::string_view password, vx::Status* status,
                   uint64_t capacity = 64) {
    std::string buffer(capacity, '.');
    vx::PasswordParms parms{};
    parms.password = password.data();
    parms.passwordLength = static_cast<int64_t>(password.size());
    parms.encoded = buffer.data();
    parms.encodedLength = &capacity;
    parms.inputTranscoder = &host.textTranscoder;
    parms.outputTranscoder = &host.pathTranscoder;
    *status = host.extension->operations.quillonPasswordEncrypt(host.extension, &parms);
    return buffer.substr(0, capacity);
}

TEST(Password, is_decoded_encoded_and_wiped) {
    FakeHost host;
    host.sayPool = true;
    vx::Status status;
    EXPECT_EQ(encode(host, "sésame!", &status), "{zeb}!emasés");
    host.sayPool = false;
    EXPECT_EQ(status, vx::VX_SUCCESS);
    EXPECT_EQ(host.transcript(), lines(R"(2 "quillonPasswordEncrypt called"
        Alloc 32
        text "sésame!" into 32
        DecodeText "sésame!"
        Alloc 28
        EncodeText "sésame!"
        Alloc 48
        path "{zeb}!emasés" into 64
        Free 32
        Free 28
        Free 48
        2 "quillonPasswordEncrypt returning rc=00000000")"));
    EXPECT_FALSE(host.gaveBack("sésame!"));
    EXPECT_TRUE(host.gaveBack("!emasés"));
}

// The outlines end in the encoded text; a call that went well shows its name.
void expectEncoded(std::string_view password, std::string_view rows) {
    const auto run = [&](FakeHost& host) {
        vx::Status status;
        const std::string encoded = encode(host, password, &status, 16);
        for (std::string& line : host.lines)
            if (!std::isdigit(line[0]) && line.find("->") == line.npos)
                line = "3 " + line.substr(0, line.find(' '));
        host.say("3 <" + encoded + ">");
        return status;
    };
    expectOutcomes<FakeHost>("quillonPasswordEncrypt", run, rows);
}

TEST(Password, what_becomes_of_it) {
    expectEncoded("", "=> 00000000: <>");
    expectEncoded("   ", "=> 00000000: text, DecodeText, path, <>");
    expectEncoded("{CFG}x", "=> 00000000: text, DecodeText, path, <{CFG}x>");
    expectEncoded("ü", "=> 00000000: text, DecodeText, EncodeText, path, <{zeb}ü>");
    expectEncoded("sesame!", R"(
        text rc=80000001 => 80000001: text 80000001, transcode password returned rc=80000001, <>
        DecodeText rc=80000002 => 80000002: text, DecodeText 80000002, <>
        DecodeText rc=80000002 leaving => 80000002: text, DecodeText 80000002, <>
        EncodeText rc=80000003 => 80000003: text, DecodeText, EncodeText 80000003, <>
        EncodeText rc=80000003 leaving => 80000003: text, DecodeText, EncodeText 80000003, <>
    )");
    expectEncoded("long sesame!", R"(
        => 803FE807: text, DecodeText, EncodeText, path 803FE807, untranscoding password returned rc=803FE807, <>
    )");
}

TEST(Password, needs_the_encoding_service_and_a_length_in_range) {
    const struct {
        bool service;
        int64_t length;
        vx::Status status;
        const char* outline;
    } rows[] = {
        {false, 7, vx::VX_NO_ENCODING_SERVICE, ""},
        {true, -1, vx::VX_SUCCESS, ""},
        {true, INT64_MAX / 2 + 1, vx::VX_NO_MEMORY, "no memory for transcoded password"},  // x4
    };
    for (const auto& row : rows) {
        FakeHost host;
        if (!row.service) host.kernel.encodingService = nullptr;
        uint64_t length = 9;
        vx::PasswordParms parms{};
        parms.password = passwordText.data();
        parms.passwordLength = row.length;
        parms.encodedLength = &length;
        parms.inputTranscoder = &host.textTranscoder;
        EXPECT_EQ(host.extension->operations.quillonPasswordEncrypt(host.extension, &parms),
                  row.status);
        EXPECT_EQ(length, 0u);
        EXPECT_EQ(outline(host, "quillonPasswordEncrypt"), row.outline);
    }
}

TEST(Password, every_allocation_fails_cleanly) {
    everyAllocationFails<FakeHost>([](FakeHost& host) {
        vx::Status status;
        const std::string encoded = encode(host, "sesame!", &status);
        EXPECT_EQ(encoded, status == vx::VX_SUCCESS ? "{zeb}!emases" : "");
        return status;
    });
}

}  // namespace
