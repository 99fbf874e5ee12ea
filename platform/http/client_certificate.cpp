#include "platform/http/client_certificate.hpp"

#include <fmt/format.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/ssl.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <utility>

#include "platform/base/status.hpp"

namespace vxhost {
namespace {

template <auto release>
struct Release {
    template <class Object>
    void operator()(Object* object) const {
        release(object);
    }
};
using BioPtr = std::unique_ptr<BIO, Release<BIO_free>>;
using StorePtr = std::unique_ptr<PKCS12, Release<PKCS12_free>>;

[[noreturn]] void refuse(const std::string& file, std::string_view why,
                         Status status = WEBLNK_LIBRARY_FAILED) {
    ERR_clear_error();
    throw Failure(status, fmt::format("{}: {}.", file, why));
}

BioPtr open(const std::string& file) {
    BioPtr bio(BIO_new_file(file.c_str(), "r"));
    if (!bio) refuse(file, std::strerror(errno));
    return bio;
}

// The passphrase of one file, once it is asked for.
class Unlocking {
public:
    Unlocking(std::string file, const ClientCertificate::Passphrase& passphrase)
        : file_(std::move(file)), passphrase_(passphrase) {}

    // As OpenSSL asks, from C, where nothing may be thrown.
    static int tell(char* to, int room, int, void* self) noexcept {
        auto& unlocking = *static_cast<Unlocking*>(self);
        try {
            const SecretText text = unlocking.ask();
            const size_t size = text.empty() ? 0 : std::strlen(text.get());
            if (size > static_cast<size_t>(room)) refuse(unlocking.file_, "too long a passphrase");
            if (size > 0) std::memcpy(to, text.get(), size);
            return static_cast<int>(size);
        } catch (...) {
            unlocking.failure_ = std::current_exception();
            return -1;
        }
    }

    SecretText ask() {
        asked_ = true;
        return passphrase_ ? passphrase_(file_) : SecretText();
    }

    [[noreturn]] void fail(std::string_view what) const {
        if (failure_) std::rethrow_exception(failure_);
        if (!asked_) refuse(file_, what);
        refuse(file_, "the passphrase is not the right one", vx::QUILLON_NOT_AUTHORIZED);
    }

private:
    const std::string file_;
    const ClientCertificate::Passphrase& passphrase_;
    bool asked_ = false;
    std::exception_ptr failure_;
};

ClientCertificate::CertificatePtr nextCertificate(BIO* bio) {
    return ClientCertificate::CertificatePtr(PEM_read_bio_X509(bio, nullptr, nullptr, nullptr));
}

ClientCertificate::KeyPtr readKey(const std::string& file,
                                  const ClientCertificate::Passphrase& passphrase) {
    const BioPtr bio = open(file);
    Unlocking unlocking(file, passphrase);
    ClientCertificate::KeyPtr key(
        PEM_read_bio_PrivateKey(bio.get(), nullptr, &Unlocking::tell, &unlocking));
    if (!key) unlocking.fail("it holds no private key in PEM form");
    return key;
}

StorePtr readStore(const std::string& file) {
    const BioPtr bio = open(file);
    StorePtr store(d2i_PKCS12_bio(bio.get(), nullptr));
    ERR_clear_error();
    return store;
}

bool opensWithout(PKCS12* store) {
    return PKCS12_verify_mac(store, nullptr, 0) == 1 || PKCS12_verify_mac(store, "", 0) == 1;
}

// What older programs export is under ciphers that OpenSSL gives only to who asks for them.
class OldCiphers {
public:
    OldCiphers() : provider_(OSSL_PROVIDER_try_load(nullptr, "legacy", 1)) {}
    OldCiphers(const OldCiphers&) = delete;
    OldCiphers& operator=(const OldCiphers&) = delete;
    ~OldCiphers() {
        if (provider_ != nullptr) OSSL_PROVIDER_unload(provider_);
    }

private:
    OSSL_PROVIDER* provider_;
};

}  // namespace

void ClientCertificate::FreeCertificate::operator()(X509* certificate) const {
    X509_free(certificate);
}

void ClientCertificate::FreeKey::operator()(EVP_PKEY* key) const {
    EVP_PKEY_free(key);
}

std::shared_ptr<const ClientCertificate> ClientCertificate::load(const std::string& file,
                                                                 const std::string& keyFile,
                                                                 const Passphrase& passphrase) {
    const auto loaded = std::make_shared<ClientCertificate>();
    if (const StorePtr store = readStore(file)) {
        const OldCiphers ciphers;
        Unlocking unlocking(file, passphrase);
        const SecretText text = opensWithout(store.get()) ? SecretText() : unlocking.ask();
        EVP_PKEY* key = nullptr;
        X509* own = nullptr;
        STACK_OF(X509)* above = nullptr;
        const bool opened = PKCS12_parse(store.get(), text.get(), &key, &own, &above) == 1;
        loaded->key_.reset(key);
        loaded->own_.reset(own);
        while (sk_X509_num(above) > 0) loaded->above_.emplace_back(sk_X509_shift(above));
        sk_X509_free(above);
        if (!opened) unlocking.fail("it cannot be read");
    } else {
        const BioPtr bio = open(file);
        loaded->own_ = nextCertificate(bio.get());
        while (auto next = nextCertificate(bio.get())) loaded->above_.push_back(std::move(next));
    }
    if (!loaded->own_) refuse(file, "it holds no certificate, in PEM form or as PKCS#12");
    const std::string& place = keyFile.empty() ? file : keyFile;
    if (!keyFile.empty() || !loaded->key_) loaded->key_ = readKey(place, passphrase);
    if (X509_check_private_key(loaded->own_.get(), loaded->key_.get()) != 1) {
        refuse(place, "the key is not that of the certificate");
    }
    ERR_clear_error();
    return loaded;
}

bool ClientCertificate::presentOver(SSL* connection) const noexcept {
    if (SSL_use_certificate(connection, own_.get()) != 1) return false;
    for (const CertificatePtr& each : above_) {
        if (SSL_add1_chain_cert(connection, each.get()) != 1) return false;
    }
    return SSL_use_PrivateKey(connection, key_.get()) == 1;
}

}  // namespace vxhost
