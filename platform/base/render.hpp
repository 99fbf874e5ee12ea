// Templates of log records and journal sentences (host/logger.h lists their placeholders).
#pragma once

#include <cstdarg>
#include <string>
#include <string_view>

namespace vxhost {

// UTF-8. "%%" is a percent sign; a "%" before anything else stands for itself. A null text is shown
// as "(null)", a unit that is no character as U+FFFD.
std::string renderTemplate(std::u32string_view text, va_list arguments);

}  // namespace vxhost
