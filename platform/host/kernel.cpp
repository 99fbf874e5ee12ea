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
    void setConfigDirectory(const std::filesystem::path& directory) {
        encoding.keyFile = (directory.empty() ? configHome() : directory) / "key";
    }

private:
    EncodingContext encoding;
};

ProcessKernel::ProcessKernel() {
    fillSlots<vx::Kernel>(*this);
    LoadExtension = [](vx::Kernel*, const char32_t* name, uint64_t length, void*) noexcept {
        return loadSibling({name, length}, nullptr);
    };
    setConfigDirectory({});
    encodingContext = &encoding;
    encodingService = &vxhost::encodingService();
    caseService = nullptr;
    loggerFactory = &vxhost::loggerFactory();
    DateTime = &dateTime;
}

ProcessKernel& processKernel() {
    static ProcessKernel one;
    return one;
}

}  // namespace

vx::Kernel& kernel() {
    return processKernel();
}

void configureKernel(const KernelSettings& settings) {
    configureLogging(settings);
    processKernel().setConfigDirectory(settings.configDirectory);
}

}  // namespace vxhost
