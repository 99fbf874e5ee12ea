#include "client/memory/background_hash.hpp"

#include <string_view>
#include <utility>

#include "client/local_file.hpp"
#include "platform/files/content_hash.hpp"

namespace quillon {

BackgroundHash::BackgroundHash(std::filesystem::path file)
    : reading_([this, file = std::move(file)](const std::stop_token& stopped) {
          vxhost::ContentHash hash;
          const Result<void> read = readPieces(file, [&](std::string_view piece) {
              hash.add(piece);
              return !stopped.stop_requested();
          });
          if (read) hash_ = hash.hex();
      }) {}

std::string BackgroundHash::finish() {
    if (reading_.joinable()) reading_.join();
    return std::move(hash_);
}

}  // namespace quillon
