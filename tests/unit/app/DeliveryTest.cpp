// Deliveries of results into directories of a host that others change meanwhile.
#include "app/Delivery.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <memory>

#include "platform/FileManager.h"
#include "tests/unit/app/DeliveryFixture.h"

namespace ztp::test {
namespace {

namespace fs = std::filesystem;

using DeliveryTest = DeliveryFixture;

struct Interruption {};

// Puts something of that kind at the path.
void make(const fs::path& path, const std::string& kind) {
  if (kind == "file") fill(path, "old");
  if (kind == "empty directory") fs::create_directory(path);
  if (kind == "link") fs::create_symlink("other", path);
  if (kind == "link to nowhere") fs::create_symlink("nowhere", path);
  if (kind != "directory") return;
  fs::create_directories(path / "deeper");
  fill(path / "deeper/file", "old");
}

constexpr std::array oldKinds{"nothing",         "file", "directory",
                              "empty directory", "link", "link to nowhere"};

TEST_F(DeliveryTest, AFileTakesThePlaceOfAnything) {
  fill(host / "other", "stays");
  for (const char* const kind : oldKinds) {
    fill(result / "converted", "new");
    make(host / "result", kind);
    EXPECT_EQ(said(delivery().deliverConvertedFile("converted", host / "result")), "") << kind;
    EXPECT_EQ(listing(host), (Listing{{"other", "stays"}, {"result", "new"}})) << kind;
    fs::remove_all(host / "result");
  }
}

TEST_F(DeliveryTest, ADirectoryTakesThePlaceOfAnything) {
  fill(host / "other", "stays");
  for (const char* const kind : oldKinds) {
    put(result / "converted/sub/part", "new");
    make(host / "result", kind);
    EXPECT_EQ(said(delivery().deliverConvertedFile("converted", host / "result//")), "") << kind;
    const Listing expected{{"other", "stays"},
                           {"result", "directory"},
                           {"result/sub", "directory"},
                           {"result/sub/part", "new"}};
    EXPECT_EQ(listing(host), expected) << kind;
    fs::remove_all(host / "result");
  }
}

TEST_F(DeliveryTest, KeepsModesAndTimesButNoSetIdBits) {
  put(result / "converted/shared", "1");
  put(result / "converted/copied", "2");
  keepAnotherName(result / "converted/copied");
  put(result / "converted/program", "3");
  ASSERT_EQ(::chmod((result / "converted/shared").c_str(), 0640), 0);
  ASSERT_EQ(::chmod((result / "converted/copied").c_str(), 0604), 0);
  ASSERT_EQ(::chmod((result / "converted/program").c_str(), 06755), 0);
  ASSERT_EQ(::chmod((result / "converted").c_str(), 0500), 0);
  const auto time = fs::last_write_time(result) - std::chrono::hours(24);
  fs::last_write_time(result / "converted/copied", time);
  fs::last_write_time(result / "converted", time);
  EXPECT_EQ(said(delivery().deliverConvertedFile("converted", host / "result")), "");
  EXPECT_EQ(modeOf(host / "result/shared"), 0640U);
  EXPECT_EQ(modeOf(host / "result/copied"), 0604U);
  EXPECT_EQ(modeOf(host / "result/program"), 0755U);
  EXPECT_EQ(modeOf(host / "result"), 0500U);
  EXPECT_EQ(fs::last_write_time(host / "result/copied"), time);
  EXPECT_EQ(fs::last_write_time(host / "result"), time);
  EXPECT_TRUE(fs::equivalent(result / "converted/shared", host / "result/shared"));
  EXPECT_FALSE(fs::equivalent(result / "converted/copied", host / "result/copied"));
}

TEST_F(DeliveryTest, WhatCannotBeMadeCostsTheOldItemAndLeavesNothing) {
  put(result / "converted/part", "new");
  ASSERT_EQ(::mkfifo((result / "converted/pipe").c_str(), 0600), 0);
  for (const char* const kind : oldKinds) {
    make(host / "result", kind);
    const auto failure = delivery().deliverConvertedFile("converted", host / "result");
    EXPECT_EQ(said(failure),
              "Could not copy dest file to host path\nNeither a file nor a directory: " +
                  (result / "converted/pipe").string());
    EXPECT_EQ(listing(host), Listing{}) << kind;
  }
}

TEST_F(DeliveryTest, ANameThatLeadsOutOrNowhereIsNoFileOfTheResult) {
  fill(result / "file", "x");
  fs::create_symlink("../identity", result / "out");
  fs::create_symlink(work / "identity", result / "absolute");
  fs::create_symlink("../..", result / "up");
  fs::create_symlink("loop", result / "loop");
  for (const char* const name :
       {"missing", "..", ".", "/", "../identity", "Logs/../../identity", "out", "absolute", "up",
        "up/work/identity", "loop", "file/below", "../OutputArchive/file"}) {
    fill(host / "result", "old");
    EXPECT_NE(said(delivery().deliverConvertedFile(name, host / "result")), "") << name;
    EXPECT_EQ(listing(host), Listing{}) << name;
  }
}

TEST_F(DeliveryTest, ADestinationThatNamesNoItemLosesNothing) {
  fill(result / "converted", "new");
  fill(host / "other", "stays");
  fs::create_directory(host / "sub");
  for (const fs::path& destination : {fs::path(""), host / "sub/..", host / "sub/.", fs::path("/"),
                                      host / "missing/result", host / "other/result"}) {
    EXPECT_NE(said(delivery().deliverConvertedFile("converted", destination)), "") << destination;
    EXPECT_EQ(listing(host), (Listing{{"other", "stays"}, {"sub", "directory"}})) << destination;
  }
}

TEST_F(DeliveryTest, AConvertedLinkIsDeliveredAsWhatItLeadsTo) {
  put(result / "sub/real", "new");
  fs::create_symlink("sub", result / "way");
  fs::create_symlink("way/../sub/real", result / "converted");
  EXPECT_EQ(said(delivery().deliverConvertedFile("./converted", host / "result")), "");
  EXPECT_EQ(listing(host), (Listing{{"result", "new"}}));
}

TEST_F(DeliveryTest, AnAbsoluteNameIsReadBelowTheResult) {
  put(result / "etc/hostname", "new");
  EXPECT_EQ(said(delivery().deliverConvertedFile("/etc//hostname", host / "result")), "");
  EXPECT_EQ(listing(host), (Listing{{"result", "new"}}));
}

TEST_F(DeliveryTest, TheResultIsADirectoryWithNoLinkBesideIt) {
  EXPECT_NO_THROW(static_cast<void>(delivery()));
  fs::create_symlink("OutputArchive", work / "beside");
  EXPECT_THROW(static_cast<void>(delivery()), PlatformException);
  fs::remove(work / "beside");
  fs::remove_all(result);
  EXPECT_THROW(static_cast<void>(delivery()), PlatformException);
  fs::create_symlink(".", result);
  EXPECT_THROW(static_cast<void>(delivery()), PlatformException);
}

TEST_F(DeliveryTest, LogsGoIntoADirectoryThatExistsAndBecomeOneThatDoesNot) {
  put(result / "Logs/tool.log", "1");
  put(result / "Logs/run/1.log", "2");
  EXPECT_EQ(said(delivery().deliverLogs(host / "new/")), "");
  put(host / "there/tool.log/stale", "old");
  put(host / "there/run/stale", "old");
  fill(host / "there/other", "stays");
  fs::create_symlink("there", host / "link");
  EXPECT_EQ(said(delivery().deliverLogs(host / "link")), "");
  const Listing logs{{"tool.log", "1"}, {"run", "directory"}, {"run/1.log", "2"}};
  Listing with = logs;
  with["other"] = "stays";
  EXPECT_EQ(listing(host / "new"), logs);
  EXPECT_EQ(listing(host / "there"), with);
  EXPECT_EQ(describe(host / "link"), "-> there");
}

TEST_F(DeliveryTest, LogsDoNotReplaceALinkToNowhere) {
  fs::create_symlink("nowhere", host / "logs");
  EXPECT_EQ(
      said(delivery().deliverLogs(host / "logs")),
      "Could not copy logs to host path\ncopy to " + (host / "logs").string() + ": File exists");
  EXPECT_EQ(listing(host), (Listing{{"logs", "-> nowhere"}}));
}

TEST_F(DeliveryTest, OneItemMayBeDeliveredToOnePlaceTwice) {
  put(result / "Logs/tool.log", "1");
  fs::create_directory(host / "logs");
  Delivery twice = delivery();
  EXPECT_EQ(said(twice.deliverConvertedFile("Logs/tool.log", host / "logs/tool.log")), "");
  EXPECT_EQ(said(twice.deliverLogs(host / "logs")), "");
  EXPECT_EQ(listing(host / "logs"), (Listing{{"tool.log", "1"}}));
}

struct LinkCase {
  const char* name;
  const char* target;
  bool intoNew;
  bool intoExisting;
};

// Whether a link in the logs is delivered, as what it is.
constexpr std::array linkCases{
    LinkCase{"latest", "tool.log", true, true},
    LinkCase{"latest", "run/1.log", true, true},
    LinkCase{"latest", "run", true, true},
    LinkCase{"latest", "run/../tool.log", true, true},
    LinkCase{"run/latest", "../tool.log", true, true},
    LinkCase{"run/latest", "1.log", true, true},
    LinkCase{"run/latest", "gone.log", true, true},
    LinkCase{"run/latest", "..", true, false},
    LinkCase{"latest", "gone.log", true, false},
    LinkCase{"latest", "gone/../tool.log", true, false},
    LinkCase{"latest", "gone/../../identity", false, false},
    LinkCase{"latest", ".", true, false},
    LinkCase{"latest", "..", false, false},
    LinkCase{"latest", "../Logs/tool.log", false, false},
    LinkCase{"latest", "../converted", false, false},
    LinkCase{"run/latest", "../../converted", false, false},
    LinkCase{"latest", "/etc/hostname", false, false},
};

TEST_F(DeliveryTest, ALinkInTheLogsIsDeliveredWhereItLeadsToSomethingDelivered) {
  fill(result / "converted", "x");
  put(result / "Logs/tool.log", "1");
  put(result / "Logs/run/1.log", "2");
  for (const auto& [name, target, intoNew, intoExisting] : linkCases) {
    fs::create_symlink(target, result / "Logs" / name);
    fs::create_directory(host / "existing");
    EXPECT_EQ(!delivery().deliverLogs(host / "new"), intoNew) << name << " -> " << target;
    EXPECT_EQ(!delivery().deliverLogs(host / "existing"), intoExisting) << name << " -> " << target;
    for (const auto& [place, isDelivered] :
         {std::pair{host / "new", intoNew}, {host / "existing", intoExisting}}) {
      const std::string expected = isDelivered ? std::string("-> ") + target : "";
      EXPECT_EQ(fs::is_symlink(place / name) ? describe(place / name) : "", expected);
    }
    EXPECT_EQ(fs::exists(host / "new"), intoNew);
    fs::remove_all(host / "new");
    fs::remove_all(host / "existing");
    fs::remove(result / "Logs" / name);
  }
}

// A chain of that many directories, with a file in the last one.
void makeChain(const fs::path& top, int levels) {
  Directory directory = Directory::at(top);
  for (int level = 0; level < levels; ++level) {
    directory = directory.makeSubdirectory(std::string(200, 'd'));
  }
  FileHandle(directory.file("file", O_WRONLY | O_CREAT, 0600)).writeData(bytesOf("deep"));
}

TEST_F(DeliveryTest, TreesMayBeAHundredDirectoriesDeepHoweverLongTheirPaths) {
  fs::create_directory(result / "converted");
  makeChain(result / "converted", 99);
  put(host / "result/old", "old");
  EXPECT_EQ(said(delivery().deliverConvertedFile("converted", host / "result")), "");
  Directory directory = Directory::at(host / "result");
  for (int level = 0; level < 99; ++level) {
    directory = directory.subdirectory(std::string(200, 'd'));
  }
  EXPECT_TRUE(directory.statusOf("file"));
  fs::create_directory(result / "deeper");
  makeChain(result / "deeper", 100);
  EXPECT_NE(said(delivery().deliverConvertedFile("deeper", host / "result")), "");
  EXPECT_EQ(listing(host), Listing{}) << "the old tree is gone as well";
  EXPECT_FALSE(FileManager::removeItem(work));
}

// --- What interrupts a delivery ---

TEST_F(DeliveryTest, AnInterruptionAtAnyEntryLeavesTheOldItemOrTheNewOne) {
  put(result / "converted/a", "new");
  put(result / "converted/sub/b", "new");
  keepAnotherName(result / "converted/sub/b");
  const Listing whole{{"result", "directory"},
                      {"result/a", "new"},
                      {"result/sub", "directory"},
                      {"result/sub/b", "new"}};
  const Listing old{
      {"result", "directory"}, {"result/deeper", "directory"}, {"result/deeper/file", "old"}};
  bool isThrough = false;
  int last = 0;
  while (!isThrough) {
    ++last;
    make(host / "result", "directory");
    int calls = 0;
    const auto interrupt = [&] {
      if (++calls == last) throw Interruption{};
    };
    try {
      EXPECT_EQ(said(delivery(interrupt).deliverConvertedFile("converted", host / "result")), "");
      isThrough = true;
    } catch (const Interruption&) {
      isThrough = false;
    }
    const Listing now = listing(host);
    EXPECT_TRUE(now == whole || (!isThrough && now == old)) << "at " << last;
    fs::remove_all(host / "result");
  }
  EXPECT_GT(last, 6) << "each entry, copied or removed";
}

TEST_F(DeliveryTest, EveryLogCanInterruptIt) {
  for (int number = 0; number < 5; ++number) put(result / "Logs" / std::to_string(number), "");
  fs::create_directory(host / "logs");
  int checks = 0;
  EXPECT_EQ(said(delivery([&] { ++checks; }).deliverLogs(host / "logs")), "");
  EXPECT_GE(checks, 5);
}

TEST_F(DeliveryTest, LinksThatLeadNowhereAreLinksAllTheSame) {
  put(result / "Logs/tool.log", "1");
  fs::create_symlink("circle", result / "Logs/circle");
  fs::create_symlink("tool.log/x", result / "Logs/through");
  EXPECT_EQ(said(delivery().deliverLogs(host / "logs")), "");
  EXPECT_EQ(fs::read_symlink(host / "logs/circle"), "circle");
  EXPECT_EQ(fs::read_symlink(host / "logs/through"), "tool.log/x");
}

TEST_F(DeliveryTest, WhatIsInterruptedIsTakenBack) {
  put(result / "converted/a", "new");
  fill(host / "result", "old");
  auto interrupted = std::make_unique<Delivery>(work, [&] {
    EXPECT_EQ(std::distance(fs::directory_iterator(host), {}), 2) << "one is being made";
    throw Interruption{};
  });
  EXPECT_THROW(static_cast<void>(interrupted->deliverConvertedFile("converted", host / "result")),
               Interruption);
  interrupted.reset();
  EXPECT_EQ(listing(host), (Listing{{"result", "old"}}));
}

// --- What others do meanwhile in a directory that they may write to ---

class SharedDirectoryTest : public DeliveryFixture {
 protected:
  SharedDirectoryTest() {
    put(victim / "private", "precious");
    ::chmod((victim / "private").c_str(), 0600);
    ::chmod(victim.c_str(), 0750);
  }
  ~SharedDirectoryTest() override {
    EXPECT_EQ(listing(victim), (Listing{{"private", "precious"}}));
    EXPECT_EQ(modeOf(victim / "private"), 0600U);
    EXPECT_EQ(modeOf(victim), 0750U);
    EXPECT_GT(swaps, 0);
  }

  // The item of ours that is being made in the host's directory.
  [[nodiscard]] fs::path pending() const {
    for (const auto& entry : fs::directory_iterator(host)) {
      if (entry.path().filename().string().starts_with(".ZanburyToolProxy.")) return entry.path();
    }
    return {};
  }

  // Moves an item away and puts a link in its place.
  void swap(const fs::path& item, const fs::path& target) {
    if (item.empty() || fs::is_symlink(item)) return;
    fs::rename(item, scratch / ("moved" + std::to_string(++swaps)));
    fs::create_symlink(target, item);
  }

  const fs::path victim = scratch / "victim";
  int swaps = 0;
};

TEST_F(SharedDirectoryTest, ALogsDirectoryThatIsSwappedForALinkKeepsTheLogsOutOfItsTarget) {
  for (int number = 0; number < 20; ++number) {
    put(result / "Logs" / std::to_string(number), "log");
    keepAnotherName(result / "Logs" / std::to_string(number));
  }
  fs::create_directory(host / "logs");
  const auto swapped = [&] { swap(host / "logs", victim); };
  EXPECT_EQ(said(delivery(swapped).deliverLogs(host / "logs")), "");
  EXPECT_EQ(listing(scratch / "moved1").size(), 20U);
}

TEST_F(SharedDirectoryTest, AFileThatIsSwappedForALinkLeavesTheModeOfItsTarget) {
  fill(result / "converted", "new");
  keepAnotherName(result / "converted");
  const auto swapped = [&] { swap(pending(), victim / "private"); };
  EXPECT_EQ(said(delivery(swapped).deliverConvertedFile("converted", host / "result")), "");
}

TEST_F(SharedDirectoryTest, ATreeThatIsSwappedForALinkKeepsItsEntriesOutOfTheTarget) {
  put(result / "converted/a/b", "new");
  put(result / "converted/private", "new");
  const auto swapped = [&] { swap(pending(), victim); };
  EXPECT_EQ(said(delivery(swapped).deliverConvertedFile("converted", host / "result")), "");
}

TEST_F(SharedDirectoryTest, AnotherDirectoryUnderTheNameOfWhatIsTakenBackIsNotEmptied) {
  put(result / "converted/a", "new");
  const auto swapped = [&] {
    const fs::path item = pending();
    fs::rename(item, scratch / "moved");
    fs::rename(victim, item);
    throw Interruption{};
  };
  EXPECT_THROW(
      static_cast<void>(delivery(swapped).deliverConvertedFile("converted", host / "result")),
      Interruption);
  EXPECT_EQ(listing(scratch / "moved"), Listing{});
  fs::rename(pending(), victim);
  ++swaps;
}

}  // namespace
}  // namespace ztp::test
