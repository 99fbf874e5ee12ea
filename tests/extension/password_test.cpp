#include "tests/extension/open_collection.hpp"

namespace {

using namespace test;

struct Encoded {
    vx::Status status;
    uint64_t length;
    std::string text;
};

Encoded encode(FakeHost& host, std::string_view password, uint64_t capacity = 64) {
    std::string buffer(capacity, '.');
    vx::PasswordParms parms{};
    parms.password = password.data();
    parms.passwordLength = static_cast<int64_t>(password.size());
    parms.encoded = buffer.data();
    Encoded result{0, capacity, ""};
    parms.encodedLength = &result.length;
    parms.inputTranscoder = &host.textTranscoder;
    parms.outputTranscoder = &host.pathTranscoder;
    result.status = host.extension->operations.quillonPasswordEncrypt(host.extension, &parms);
    result.text = buffer.substr(0, result.length);
    return result;
}

TEST(Password, is_decoded_encoded_and_wiped) {
    FakeHost host;
    host.sayPool = true;
    const Encoded result = encode(host, "sésame!");
    host.sayPool = false;
    EXPECT_EQ(result.status, vx::VX_SUCCESS);
    EXPECT_EQ(result.text, "{zeb}!emasés");
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

struct Row {
    const char* script;
    const char* password;
    vx::Status status;
    const char* encoded;
    const char* between;
};

TEST(Password, what_becomes_of_it) {
    const Row rows[] = {
        {"", "", 0, "", ""},
        {"", "   ", 0, "", R"(text "   " into 12
            DecodeText "   "
            path "" into 16)"},
        {"", "{CFG}x", 0, "{CFG}x", R"(text "{CFG}x" into 24
            DecodeText "{CFG}x"
            path "{CFG}x" into 16)"},
        {"", "ü", 0, "{zeb}ü", R"(text "ü" into 8
            DecodeText "ü"
            EncodeText "ü"
            path "{zeb}ü" into 16)"},
        {"text rc=80000001", "sesame!", 0x80000001, "", R"(text "sesame!" into 28 -> 80000001
            3 "quillonPasswordEncrypt transcode password returned rc=80000001")"},
        {"DecodeText rc=80000002", "sesame!", 0x80000002, "", R"(text "sesame!" into 28
            DecodeText "sesame!" -> 80000002)"},
        {"DecodeText rc=80000002 leaving", "sesame!", 0x80000002, "", R"(text "sesame!" into 28
            DecodeText "sesame!" -> 80000002)"},
        {"EncodeText rc=80000003", "sesame!", 0x80000003, "", R"(text "sesame!" into 28
            DecodeText "sesame!"
            EncodeText "sesame!" -> 80000003)"},
        {"EncodeText rc=80000003 leaving", "sesame!", 0x80000003, "", R"(text "sesame!" into 28
            DecodeText "sesame!"
            EncodeText "sesame!" -> 80000003)"},
        {"", "longer sesame", vx::VX_BUFFER_TOO_SMALL, "", R"(text "longer sesame" into 52
            DecodeText "longer sesame"
            EncodeText "longer sesame"
            path "{zeb}emases regnol" into 16 -> 803FE807
            3 "quillonPasswordEncrypt untranscoding password returned rc=803FE807")"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string{row.script} + row.password);
        FakeHost host{row.script};
        const Encoded result = encode(host, row.password, 16);
        EXPECT_EQ(result.status, row.status);
        EXPECT_EQ(result.text, row.encoded);
        char rc[9];
        snprintf(rc, sizeof rc, "%08X", row.status);
        EXPECT_EQ(host.transcript(),
                  lines("2 \"quillonPasswordEncrypt called\"\n" + std::string{row.between} +
                        "\n2 \"quillonPasswordEncrypt returning rc=" + rc + "\""));
        EXPECT_FALSE(host.gaveBack("sesame"));
    }
}

TEST(Password, needs_the_encoding_service) {
    FakeHost host;
    host.kernel.encodingService = nullptr;
    host.logger.threshold = 3;
    const Encoded result = encode(host, "sesame!");
    EXPECT_EQ(result.status, vx::VX_NO_ENCODING_SERVICE);
    EXPECT_EQ(result.length, 0u);
    EXPECT_EQ(host.transcript(), "text \"sesame!\" into 28\n");
    EXPECT_FALSE(host.gaveBack("sesame!"));
}

TEST(Password, lengths_out_of_range_are_refused_or_no_password) {
    FakeHost host;
    host.logger.threshold = 3;
    uint64_t length = 9;
    vx::PasswordParms parms{};
    parms.password = "sesame!";
    parms.encodedLength = &length;
    parms.passwordLength = -1;
    const auto encrypt = host.extension->operations.quillonPasswordEncrypt;
    EXPECT_EQ(encrypt(host.extension, &parms), vx::VX_SUCCESS);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(host.transcript(), "");

    length = 9;
    parms.passwordLength = INT64_MAX / 2 + 1;  // fourfold: 2^64
    EXPECT_EQ(encrypt(host.extension, &parms), vx::VX_NO_MEMORY);
    EXPECT_EQ(length, 0u);
    EXPECT_EQ(host.transcript(),
              "3 \"quillonPasswordEncrypt no memory for transcoded password\"\n");
}

TEST(Password, every_allocation_fails_cleanly) {
    everyAllocationFails([](FakeHost& host) {
        host.startFailing();
        const Encoded result = encode(host, "sesame!");
        host.quitFailing();
        EXPECT_EQ(result.length == 0, host.failed);
        EXPECT_FALSE(host.gaveBack("sesame!"));
        return result.status;
    });
}

}  // namespace
