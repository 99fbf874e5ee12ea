// The two text converters of the host, strict: what is not well formed is refused with
// TRANSCODE_INVALID, nothing is replaced. A byte order mark and NUL are characters like others.
#pragma once

#include <string>
#include <string_view>

#include "host/transcoder.h"

namespace vxhost {

// Usable from every thread; they keep no state.
vx::Transcoder& utf8ToUtf32() noexcept;
vx::Transcoder& utf32ToUtf8() noexcept;

// The same in C++; they throw a Failure.
std::u32string toUtf32(std::string_view text);
std::string toUtf8(std::u32string_view text);

// For what is only shown to a person: what is not well formed appears as U+FFFD.
std::u32string shownUtf32(std::string_view text);
std::string shownUtf8(std::u32string_view text);

}  // namespace vxhost
