#include "platform/files/complete_file.hpp"

#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>

#include <cstddef>

#include "platform/base/system_failure.hpp"
#include "tests/support/files.hpp"
#include "tests/support/temporary_directory.hpp"

namespace {

using vxhost::CompleteFile;

// As a file system without hard links has it.
void refuseLinks() {
    sock_filter code[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
#ifdef SYS_link
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_link, 1, 0),
#endif
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_linkat, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    const sock_fprog program{sizeof code / sizeof *code, code};
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) _exit(3);
    if (prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) _exit(3);
}

// In a process of its own, which may lose rights.
template <class Body>
void runAlone(Body body) {
    EXPECT_EXIT(
        {
            try {
                body();
            } catch (const vxhost::Failure& failure) {
                fprintf(stderr, "%s\n", failure.what());
                _exit(1);
            }
            _exit(0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(complete_file, needs_neither_hard_links_nor_a_folder_that_can_be_read) {
    const support::TemporaryDirectory folder;
    const auto place = folder / "private";
    std::filesystem::create_directory(place);
    std::filesystem::permissions(place, std::filesystem::perms(0300));
    ASSERT_TRUE(geteuid() != 0 || chown(place.c_str(), 12345, 12345) == 0);
    runAlone([&] {
        if (geteuid() == 0 && seteuid(12345) != 0) _exit(3);
        refuseLinks();
        CompleteFile(place / "key", "first").becomeDestination();
        CompleteFile(place / "key", "second").becomeDestination();
        CompleteFile(place / std::string(255, 'x'), "content").replaceDestination();
    });
    std::filesystem::permissions(place, std::filesystem::perms(0700));
    EXPECT_EQ(support::readFile(place / "key"), "first");
    EXPECT_EQ(support::readFile(place / std::string(255, 'x')), "content");
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(place), {}), 2);
}

}  // namespace
