#include "client/extension.hpp"

#include <utility>

#include "client/state.hpp"
#include "platform/base/logger.hpp"

namespace quillon {
namespace {

vxhost::Settings settingsFrom(ExtensionOptions& options) {
    vxhost::Settings settings;
    settings.caFile = options.caFile;
    settings.insecure = options.insecure;
    settings.wayIn = std::move(options.wayIn);
    settings.proxyCaFile = options.proxyCaFile;
    settings.noProxy = options.noProxy;
    settings.proxyAuth = options.proxyAuth;
    settings.connectTimeout = options.connectTimeout;
    settings.stallTimeout = options.stallTimeout;
    settings.mostListingBytes = options.mostListingBytes;
    settings.mostSpeed = options.mostSpeed;
    settings.senders = options.senders;
    settings.interrupted = options.interrupted;
    settings.cacheRoot = options.cacheRoot.string();
    settings.watchLock = std::move(options.watchLock);
    settings.ownLocks = options.ownLocks;
    if (options.progress) {
        settings.progress = [sink = std::move(options.progress)](const vxhost::Progress& now) {
            sink(now.moved, now.total);
        };
    }
    settings.requestEnded = &hear;
    settings.strayLock = &noteStrayLock;
    settings.knowsBasic = std::move(options.knowsBasic);
    settings.foundBasic = std::move(options.foundBasic);
    if (options.traffic) {
        settings.traffic = [told = std::move(options.traffic)](const vxhost::Traffic& now) {
            told({now.requests, now.roundTrips, now.connections, now.bytesUp, now.bytesDown});
        };
    }
    settings.unknownSchemes = &noteUnknownSchemes;
    settings.secretInClear = std::move(options.secretInClear);
    return settings;
}

}  // namespace

Result<Extension> Extension::load(ExtensionOptions options) {
    try {
        if (options.log) {
            vxhost::configureLogging(
                {static_cast<uint32_t>(options.logThreshold),
                 [sink = std::move(options.log)](uint32_t level, std::string_view channel,
                                                 std::string_view text) {
                     sink(static_cast<int>(level), channel, text);
                 }});
        }
        return Extension(std::make_shared<State>(settingsFrom(options), options.library));
    } catch (const std::exception& problem) {
        return localError(Kind::local, problem.what());
    }
}

}  // namespace quillon
