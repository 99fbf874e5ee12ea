#include "client/certificate.hpp"

#include <memory>
#include <utility>

#include "client/outcome.hpp"
#include "client/remote/remote.hpp"
#include "client/state.hpp"
#include "platform/base/status.hpp"
#include "platform/http/server_certificate.hpp"

namespace quillon {

Result<ServerCertificate> lookAtCertificate(const Extension& extension, const Address& address,
                                            const std::string& proxy) {
    auto credentials = std::make_shared<vxhost::Credentials>();
    credentials->proxy = vxhost::SecretText(proxy);
    const vxhost::Sender sender{extension.state()->host.settings(), std::move(credentials), nullptr,
                                nullptr};
    try {
        vxhost::ServerCertificate shown = vxhost::lookAtCertificate(sender, address.origin());
        return ServerCertificate{std::move(shown.subject),     std::move(shown.issuer),
                                 std::move(shown.validFrom),   std::move(shown.validUntil),
                                 std::move(shown.fingerprint), std::move(shown.pin)};
    } catch (const vxhost::Failure& failure) {
        return requestError(failure);
    }
}

}  // namespace quillon
