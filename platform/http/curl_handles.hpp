// Owners of curl's handles.
#pragma once

#include <curl/curl.h>

#include <memory>

namespace vxhost {

template <auto cleanup>
struct CurlCleanup {
    template <class Handle>
    void operator()(Handle* handle) const {
        cleanup(handle);
    }
};

using EasyPtr = std::unique_ptr<CURL, CurlCleanup<curl_easy_cleanup>>;
using MultiPtr = std::unique_ptr<CURLM, CurlCleanup<curl_multi_cleanup>>;
using SharePtr = std::unique_ptr<CURLSH, CurlCleanup<curl_share_cleanup>>;
using HeaderListPtr = std::unique_ptr<curl_slist, CurlCleanup<curl_slist_free_all>>;

}  // namespace vxhost
