#include "platform/host/kernel.hpp"

#include "platform/base/logger.hpp"
#include "platform/base/siblings.hpp"
#include "platform/base/slots.hpp"
#include "platform/files/directories.hpp"
#include "platform/host/clock.hpp"
#include "platform/host/encoding/encoding.hpp"

namespace vxhost {
namespace {

struct ProcessKernel : vx::Kernel {
    ProcessKernel();

private:
    EncodingContext encoding{keyFileIn(configHome())};
};

ProcessKernel::ProcessKernel() {
    fillSlots<vx::Kernel>(*this);
    LoadExtension = [](vx::Kernel*, const char32_t* name, uint64_t length, void*) noexcept {
        return loadSibling({name, length}, nullptr);
    };
    encodingContext = &encoding;
    encodingService = &vxhost::encodingService();
    caseService = nullptr;
    loggerFactory = &vxhost::loggerFactory();
    DateTime = &dateTime;
}

}  // namespace

vx::Kernel& kernel() {
    static ProcessKernel one;
    return one;
}

}  // namespace vxhost
