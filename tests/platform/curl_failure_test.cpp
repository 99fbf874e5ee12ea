#include "platform/http/curl_failure.hpp"

#include <gtest/gtest.h>

#include <memory>

using namespace vxhost;

namespace {

std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easyHandle() {
    return {curl_easy_init(), curl_easy_cleanup};
}

TEST(CurlFailure, aProxysUrlWithItsPasswordIsNotRepeated) {
    const auto easy = easyHandle();
    for (const auto& [code, words] :
         {std::pair(CURLE_COULDNT_CONNECT, "Unsupported proxy scheme for 'ftp://u:secret@h/'"),
          std::pair(CURLE_COULDNT_RESOLVE_PROXY,
                    "Unsupported proxy syntax in 'http://u:secret'")}) {
        const CurlFailure failure = curlFailure(easy.get(), code, words, false, false);
        EXPECT_EQ(failure.status, WEBLNK_PROXY_REFUSED);
        EXPECT_EQ(failure.why.find("secret"), std::string::npos) << failure.why;
    }
}

TEST(CurlFailure, anAlertIsNoServerWithoutTls) {
    const auto easy = easyHandle();
    for (const auto& [words, status] :
         {std::pair("SSL routines::sslv3 alert handshake failure", WEBLNK_HANDSHAKE_REFUSED),
          std::pair("SSL routines::wrong version number", WEBLNK_NO_TLS)}) {
        const auto failure = curlFailure(easy.get(), CURLE_SSL_CONNECT_ERROR, words, false, false);
        EXPECT_EQ(failure.status, status) << words;
    }
}

TEST(CurlFailure, whatCurlCannotDoIsNeitherTheServersNorMemorys) {
    const auto easy = easyHandle();
    for (const auto code : {CURLE_FAILED_INIT, CURLE_NOT_BUILT_IN, CURLE_UNKNOWN_OPTION}) {
        EXPECT_EQ(curlFailure(easy.get(), code, "", false, false).status, WEBLNK_LIBRARY_FAILED);
    }
}

}  // namespace
