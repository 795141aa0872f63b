// Deliveries on file systems that refuse something, and in processes that are killed: at each
// system call, before and behind it.
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <initializer_list>
#include <utility>
#include <vector>

#include "tests/unit/app/DeliveryFixture.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;

class DeliveryFaultsTest : public DeliveryFixture {
 protected:
  DeliveryFaultsTest() {
    fill(result / "file", "new");
    put(result / "folder/shared", "new");
    put(result / "folder/copied", "new");
    keepAnotherName(result / "folder/copied");
  }

  [[nodiscard]] bool delivers(const char* name) const {
    return said(delivery().deliverConvertedFile(name, host / "result")).empty();
  }

  // Begins anew, with an old item of that kind at the destination.
  void putOld(const std::string& kind) const {
    fs::remove_all(host);
    fs::create_directory(host);
    if (kind == "file") fill(host / "result", "old");
    if (kind == "folder") put(host / "result/sub/old", "old");
  }

  // Runs something in a child, to which `prepare` is done first; its exit status.
  template <typename Prepare, typename Run>
  static int inChild(const Prepare& prepare, const Run& run) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      prepare();
      ::_exit(run() ? 0 : 1);
    }
    int status = -1;
    return ::waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
};

Listing newItem(const std::string& name) {
  if (name == "file") return {{"result", "new"}};
  return {{"result", "directory"}, {"result/copied", "new"}, {"result/shared", "new"}};
}

// From now on these system calls of the process fail (seccomp(2)).
void refuse(std::initializer_list<std::pair<unsigned, unsigned>> callsAndErrors) {
  std::vector<sock_filter> filter{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
  };
  for (const auto& [call, error] : callsAndErrors) {
    filter.push_back(BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, call, 0, 1));
    filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | error));
  }
  filter.push_back(BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW));
  const sock_fprog program{static_cast<unsigned short>(filter.size()), filter.data()};
  if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0) {
    ::_exit(2);
  }
}

TEST_F(DeliveryFaultsTest, WithoutAnExchangeOfNamesItemsAreReplacedAllTheSame) {
  for (const char* const name : {"file", "folder"}) {
    for (const char* const old : {"nothing", "file", "folder"}) {
      putOld(old);
      const auto withoutExchange = [] { refuse({{SYS_renameat2, EINVAL}}); };
      EXPECT_EQ(inChild(withoutExchange, [&] { return delivers(name); }), 0);
      EXPECT_EQ(listing(host), newItem(name)) << name << " for " << old;
    }
  }
}

TEST_F(DeliveryFaultsTest, AFileSystemThatTakesNoModesAndTimesGetsTheResultAsItIs) {
  for (const char* const name : {"file", "folder"}) {
    putOld("file");
    const auto withoutModes = [] { refuse({{SYS_fchmod, EPERM}, {SYS_utimensat, ENOTSUP}}); };
    EXPECT_EQ(inChild(withoutModes, [&] { return delivers(name); }), 0);
    EXPECT_EQ(listing(host), newItem(name)) << name;
  }
  EXPECT_EQ(modeOf(host / "result/copied"), 0600U) << "no more than it began with";
}

// Runs a delivery up to the stop of that number, of which each system call has two, and kills it.
// False when it came to its end before.
template <typename Run>
bool isKilledAtStop(int number, const Run& run) {
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    ::raise(SIGSTOP);
    static_cast<void>(run());
    ::_exit(0);
  }
  int status = 0;
  for (int stop = 0; stop <= number; ++stop) {
    if (::waitpid(pid, &status, 0) != pid || !WIFSTOPPED(status)) return false;
    if (stop < number) ::ptrace(PTRACE_SYSCALL, pid, nullptr, nullptr);
  }
  ::kill(pid, SIGKILL);
  ::waitpid(pid, &status, 0);
  return true;
}

TEST_F(DeliveryFaultsTest, AKillAtAnySystemCallLeavesTheOldItemOrTheNewOne) {
  for (const char* const name : {"file", "folder"}) {
    for (const char* const kind : {"nothing", "file", "folder"}) {
      putOld(kind);
      const Listing old = listing(host);
      int stops = 0;
      bool wasOld = false;
      bool wasNew = false;
      while (isKilledAtStop(++stops, [&] { return delivers(name); })) {
        Listing now = listing(host);
        // What was half-way is beside it, under a name that nobody knows.
        std::erase_if(now, [](const auto& item) { return item.first.starts_with("."); });
        ASSERT_TRUE(now == old || now == newItem(name)) << name << " for " << kind << " " << stops;
        wasOld |= now == old;
        wasNew |= now == newItem(name);
        putOld(kind);
      }
      EXPECT_TRUE(wasOld && wasNew && stops > 30) << name << " for " << kind << " " << stops;
      EXPECT_EQ(listing(host), newItem(name)) << "the delivery that nobody killed";
    }
  }
}

}  // namespace
}  // namespace ztp::test
