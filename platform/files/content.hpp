// The bytes of open files.
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "platform/base/descriptor.hpp"

namespace vxhost {

// Whether a signal handler that runs while a call waits, as it may for ever on a pipe or a device,
// ends that with EINTR.
enum class OnSignal : bool { goOn, end };

// As read(2).
ssize_t readPiece(const Descriptor& file, char* buffer, size_t length, OnSignal onSignal);

// Everything or an error: returns 0 or errno.
int writeWhole(const Descriptor& file, std::string_view content,
               OnSignal onSignal = OnSignal::goOn);

// What follows throws a Failure; one that a signal ended has the status WEBLNK_INTERRUPTED.

// To be read from where it stands when it is /dev/stdin: opened anew, a closed standard input would
// be another file, and a shared one begin again.
Descriptor openForReading(const std::filesystem::path& path);

// Hands out what can be read, piece by piece, until the end or until it is not taken. The buffer is
// zeroed after it.
void readPieces(const Descriptor& file, const std::filesystem::path& shown,
                const std::function<bool(std::string_view)>& take);

std::string readWhole(const Descriptor& file, const std::filesystem::path& shown, size_t most);

void copyContent(const Descriptor& from, const std::filesystem::path& shownFrom,
                 const Descriptor& to, const std::filesystem::path& shownTo);

}  // namespace vxhost
