#include "client/memory/background_hash.hpp"

#include <string_view>
#include <system_error>
#include <utility>

#include "client/local_file.hpp"
#include "platform/files/content_hash.hpp"

namespace quillon {

BackgroundHash::BackgroundHash(std::filesystem::path file) {
    const auto read = [this, file = std::move(file)](const std::stop_token& stopped) {
        vxhost::ContentHash hash;
        const Result<void> all = readPieces(file, [&](std::string_view piece) {
            hash.add(piece);
            return !stopped.stop_requested();
        });
        if (all) hash_ = hash.hex();
    };
    try {
        reading_ = std::jthread(read);
    } catch (const std::system_error&) {
        // The system allows no more threads: there is no hash, then.
    }
}

std::string BackgroundHash::finish() {
    if (reading_.joinable()) reading_.join();
    return std::move(hash_);
}

}  // namespace quillon
