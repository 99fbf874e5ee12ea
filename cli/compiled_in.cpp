// {fmt} and toml++, compiled into the program, which then needs their shared libraries and that of
// the C++ standard library no more: relocating those took a tenth of the time of a short command.
// What is missing here, with another release of {fmt}, the linker still takes from its library.
#include <fmt/format-inl.h>

#define TOML_IMPLEMENTATION
#include "cli/config/toml.hpp"

FMT_BEGIN_NAMESPACE
namespace detail {

template dragonbox::decimal_fp<float> dragonbox::to_decimal(float) noexcept;
template dragonbox::decimal_fp<double> dragonbox::to_decimal(double) noexcept;
template std::locale locale_ref::get<std::locale>() const;
template thousands_sep_result<char> thousands_sep_impl(locale_ref);
template char decimal_point_impl(locale_ref);

}  // namespace detail
FMT_END_NAMESPACE
