#include "client/password.hpp"

#include <utility>

#include "client/state.hpp"
#include "platform/base/status.hpp"
#include "platform/base/transcoder.hpp"
#include "platform/files/directories.hpp"
#include "platform/host/encoding/encoding.hpp"
#include "platform/host/encoding/sealed_text.hpp"

namespace quillon {
namespace {

// A sealed text is a third longer than its password with nonce and tag of 40 bytes.
constexpr size_t capacityFor(size_t passwordBytes) {
    return passwordBytes * 2 + 256;
}

bool comesBack(std::string_view encoded, const Secret& password) {
    const Result<Secret> again = decodePassword(encoded);
    return again && again->view() == password.view();
}

// What an encoded text would be taken for when it is read again.
bool looksEncoded(vx::Status failure, const Secret& password) {
    return password.view().starts_with('{') &&
           (failure == vxhost::ENCODING_REFUSED || failure == vxhost::ENCODING_NO_KEY);
}

Error beginsLikeEncoded() {
    return localError(Kind::usage,
                      "The password begins like an encoded one, so it cannot be stored. Give it "
                      "each time, or choose another.");
}

}  // namespace

Result<std::string> encodePassword(const Extension& extension, const Secret& password) {
    std::string encoded(capacityFor(password.size()), '\0');
    uint64_t length = encoded.size();
    vx::PasswordParms parms{};
    setText(parms.password, parms.passwordLength, password.view());
    parms.encoded = encoded.data();
    parms.encodedLength = &length;
    parms.inputTranscoder = &vxhost::utf8ToUtf32();
    parms.outputTranscoder = &vxhost::utf32ToUtf8();
    vxhost::UserJournal journal;
    begin(journal);
    const vx::Status status =
        extension.state()->operations().quillonPasswordEncrypt(extension.state()->handle(), &parms);
    if (looksEncoded(status, password)) return beginsLikeEncoded();
    if (status != vx::VX_SUCCESS) return failure(status, journal);
    if (length == 0) {
        return localError(Kind::usage, "A password of blanks alone cannot be stored.");
    }
    encoded.resize(length);
    if (comesBack(encoded, password)) return encoded;
    wipe(encoded);
    if (password.view().starts_with('{')) return beginsLikeEncoded();
    return localError(Kind::local, "The password did not come back as it was given.");
}

Result<Secret> decodePassword(std::string_view stored) {
    vxhost::lastFailure() = {};
    Secret clear;
    const vx::Status status = vxhost::guarded(vxhost::ENCODING_REFUSED, [&] {
        vxhost::Secret decoded =
            vxhost::decodeStored(stored, vxhost::keyFileIn(vxhost::configHome()));
        clear = Secret({decoded.text(), decoded.size()});
        return vx::VX_SUCCESS;
    });
    if (status == vx::VX_SUCCESS) return clear;
    Error error{Kind::local, static_cast<Code>(status), 0, {}};
    if (std::string detail = detailOf(status); !detail.empty()) {
        error.sentences.push_back(std::move(detail));
    }
    error.sentences.push_back(vxhost::statusText(status));
    return error;
}

Secret basicCredentials(std::string_view user, const Secret& password) {
    Secret both(user);
    both.append(':');
    for (const char byte : password.view()) both.append(byte);
    vxhost::Secret encoded = vxhost::encodeBase64(both.view());
    return Secret({encoded.text(), encoded.size()});
}

}  // namespace quillon
