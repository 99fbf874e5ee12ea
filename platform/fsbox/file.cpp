#include "platform/fsbox/file.hpp"

#include <fmt/format.h>

#include <system_error>

#include "platform/base/journal.hpp"
#include "platform/base/system_failure.hpp"

namespace vxhost {

vx::Status tellTrouble(vx::Journal* journal, const std::string& path, const char* done,
                       int error) noexcept {
    const vx::Status status = systemStatus(error);
    guarded(vx::VX_NO_MEMORY, [&] {
        journalSentence(journal, vx::JOURNAL_FAILURE,
                        fmt::format("The local file {} could not be {}: {}.", path, done,
                                    std::generic_category().message(error)));
        return vx::VX_SUCCESS;
    });
    return status;
}

}  // namespace vxhost
