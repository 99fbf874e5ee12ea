#include "platform/http/curl_failure.hpp"

#include <gtest/gtest.h>

#include <memory>

using namespace vxhost;

TEST(CurlFailure, whatCurlCannotDoIsNeitherTheServersNorMemorys) {
    const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(),
                                                                   curl_easy_cleanup);
    for (const auto code : {CURLE_FAILED_INIT, CURLE_NOT_BUILT_IN, CURLE_UNKNOWN_OPTION}) {
        EXPECT_EQ(curlFailure(easy.get(), code, "", false, false).status, WEBLNK_LIBRARY_FAILED);
    }
}
