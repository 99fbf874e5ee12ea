#include "platform/http/server_certificate.hpp"

#include <fmt/format.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <array>
#include <memory>
#include <string_view>

#include "platform/base/status.hpp"
#include "platform/http/curl_failure.hpp"
#include "platform/http/curl_handles.hpp"
#include "platform/http/curl_memory.hpp"
#include "platform/http/curl_options.hpp"
#include "platform/http/way_in.hpp"

namespace vxhost {
namespace {

using Digest = std::array<unsigned char, 32>;  // SHA-256

std::string colonHex(const Digest& digest) {
    return fmt::format("{:02X}", fmt::join(digest, ":"));
}

// "Name:value" of the first certificate of the chain, which is the server's own.
std::string_view fieldOf(const curl_certinfo& chain, std::string_view name) {
    for (const curl_slist* each = chain.certinfo[0]; each != nullptr; each = each->next) {
        const std::string_view field = each->data;
        if (field.starts_with(name) && field.substr(name.size()).starts_with(':')) {
            return field.substr(name.size() + 1);
        }
    }
    return {};
}

void addDigests(ServerCertificate& shown, std::string_view pem) {
    const std::unique_ptr<BIO, decltype(&BIO_free)> bio(
        BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), BIO_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        PEM_read_bio_X509(bio.get(), nullptr, nullptr, nullptr), X509_free);
    if (!certificate) return;
    Digest digest{};
    unsigned size = 0;
    X509_digest(certificate.get(), EVP_sha256(), digest.data(), &size);
    shown.fingerprint = colonHex(digest);
    shown.pin = pinOf(*certificate);
}

int endIfInterrupted(void* settings, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
    const auto& flag = static_cast<const Settings*>(settings)->interrupted;
    return flag != nullptr && flag->load() ? 1 : 0;
}

}  // namespace

std::string pinOf(const X509& certificate) {
    unsigned char* key = nullptr;  // the SubjectPublicKeyInfo
    const int length = i2d_X509_PUBKEY(X509_get_X509_PUBKEY(&certificate), &key);
    if (length <= 0) return {};
    Digest digest{};
    EVP_Digest(key, static_cast<size_t>(length), digest.data(), nullptr, EVP_sha256(), nullptr);
    OPENSSL_free(key);
    std::array<unsigned char, 45> text{};  // with its NUL
    EVP_EncodeBlock(text.data(), digest.data(), static_cast<int>(digest.size()));
    return std::string("sha256//") + reinterpret_cast<const char*>(text.data());
}

std::optional<ServerCertificate> shownCertificate(CURL* easy) {
    curl_certinfo* chain = nullptr;
    curl_easy_getinfo(easy, CURLINFO_CERTINFO, &chain);
    if (chain == nullptr || chain->num_of_certs == 0) return std::nullopt;
    ServerCertificate shown{std::string(fieldOf(*chain, "Subject")),
                            std::string(fieldOf(*chain, "Issuer")),
                            std::string(fieldOf(*chain, "Start date")),
                            std::string(fieldOf(*chain, "Expire date")),
                            {},
                            {}};
    addDigests(shown, fieldOf(*chain, "Cert"));
    return shown.pin.empty() ? std::nullopt : std::optional(std::move(shown));
}

ServerCertificate lookAtCertificate(const Sender& sender, const std::string& url) {
    startCurl();
    const EasyPtr easy(curl_easy_init());
    if (!easy) throw std::bad_alloc();
    char error[CURL_ERROR_SIZE] = "";
    setConnectionOptions(easy.get(), sender.settings);
    if (const WayIn* wayIn = wayInTo(url, sender.settings)) setWayIn(easy.get(), *wayIn);
    setOption(easy.get(), CURLOPT_URL, url.c_str());
    setOption(easy.get(), CURLOPT_ERRORBUFFER, static_cast<char*>(error));
    setOption(easy.get(), CURLOPT_PROXY, sender.credentials->proxy.get());
    setOption(easy.get(), CURLOPT_PINNEDPUBLICKEY, nullptr);
    setOption(easy.get(), CURLOPT_SSL_CTX_FUNCTION, nullptr);  // nobody sees a certificate of ours
    setOption(easy.get(), CURLOPT_SSL_VERIFYPEER, 0L);
    setOption(easy.get(), CURLOPT_SSL_VERIFYHOST, 0L);
    setOption(easy.get(), CURLOPT_CERTINFO, 1L);
    setOption(easy.get(), CURLOPT_CONNECT_ONLY, 1L);
    setOption(easy.get(), CURLOPT_NOPROGRESS, 0L);
    setOption(easy.get(), CURLOPT_XFERINFOFUNCTION, &endIfInterrupted);
    setOption(easy.get(), CURLOPT_XFERINFODATA, const_cast<Settings*>(&sender.settings));
    const CURLcode code = curl_easy_perform(easy.get());
    if (code == CURLE_ABORTED_BY_CALLBACK) throw Failure(WEBLNK_INTERRUPTED, "Interrupted.");
    if (const auto shown = shownCertificate(easy.get())) return *shown;
    const auto failure = curlFailure(easy.get(), code, error, false, false);
    throw Failure(failure.status, fmt::format("{}: {}.", url, failure.why));
}

}  // namespace vxhost
