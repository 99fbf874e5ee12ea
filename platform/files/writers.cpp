#include "platform/files/writers.hpp"

#include <csignal>

namespace vxhost {

// A lease for reading is not granted then. Who opens it while we have the lease waits for its end,
// of which a signal tells: one that does nothing, for the usual one would end the process.
bool isOpenForWriting(const Descriptor& file) {
    const int number = file.number();
    if (fcntl(number, F_SETSIG, SIGURG) != 0) return false;
    if (fcntl(number, F_SETLEASE, F_RDLCK) != 0) return errno == EAGAIN;
    fcntl(number, F_SETLEASE, F_UNLCK);
    return false;
}

}  // namespace vxhost
