#include "cli/session.hpp"

#include <fmt/format.h>

#include <cstdio>

#include "cli/interrupt.hpp"
#include "cli/terminal.hpp"

namespace quillon::cli {
namespace {

constexpr int LOG_WIRE = 1;
constexpr int LOG_OPERATIONS = 2;

void logToStderr(int, std::string_view channel, std::string_view text) {
    fmt::print(stderr, "[{}] {}\n", channel, harmless(text));
}

ExtensionOptions extensionOptions(const CommonOptions& options, Progress& progress) {
    ExtensionOptions wanted;
    wanted.caFile = options.caFile;
    wanted.insecure = options.insecure;
    if (options.timeoutSeconds > 0) {
        wanted.connectTimeout = wanted.stallTimeout = std::chrono::seconds(options.timeoutSeconds);
    }
    if (options.verbosity > 0) {
        wanted.logThreshold = options.verbosity > 1 ? LOG_WIRE : LOG_OPERATIONS;
        wanted.log = logToStderr;
    }
    wanted.progress = [&progress](uint64_t moved, uint64_t total) {
        progress.update(moved, total);
    };
    wanted.interrupted = &interruptFlag();
    return wanted;
}

}  // namespace

Session::Session(const CommonOptions& options) : options_(options), credentials_(options) {}

Error Session::withoutLogin(Error refusal) {
    refusal.sentences.assign(1, "The server asks who you are. Give a user name with --user.");
    return refusal;
}

Result<Extension> Session::extension() {
    if (extension_) return *extension_;
    Result<Extension> loaded = Extension::load(extensionOptions(options_, progress_));
    if (loaded) extension_ = *loaded;
    return loaded;
}

Result<std::shared_ptr<Collection>> Session::open(const Address& address,
                                                  const OpenOptions& options) {
    const bool same = kept_ != nullptr && kept_->url() == address.collection() &&
                      keptUser_ == address.user() && keptOptions_.cache == options.cache &&
                      keptOptions_.cacheParent == options.cacheParent;
    if (same) return kept_;
    kept_.reset();
    const Result<Extension> loaded = extension();
    if (!loaded) return loaded.error();
    Result<Collection> opened = withLogin(address, [&](const Login& login) {
        return Collection::open(*loaded, address, login, options);
    });
    if (!opened) return std::move(opened).error();
    kept_ = std::make_shared<Collection>(std::move(*opened));
    keptUser_ = address.user();
    keptOptions_ = options;
    return kept_;
}

}  // namespace quillon::cli
