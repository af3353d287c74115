#include "common/unwaiting_output.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "run/progress.h"
#include "support/child_processes.h"
#include "support/temp_dir.h"

namespace {

constexpr std::size_t kMuch = std::size_t{1} << 20;
constexpr uid_t kSomebody = 20'001;

struct Ends {
  FileDescriptor reader;
  FileDescriptor writer;
};

Ends Pipe() {
  std::array<int, 2> ends{};
  EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  return {FileDescriptor(ends.front()), FileDescriptor(ends.back())};
}

Ends Sockets() {
  std::array<int, 2> ends{};
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), 0);
  return {FileDescriptor(ends.front()), FileDescriptor(ends.back())};
}

std::string ReadUpTo(int descriptor, std::size_t size) {
  std::string text(size, '\0');
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(read(descriptor, text.data(), size), 0)));
  return text;
}

// In a process of its own, which is killed where it waits.
template <typename Body>
void ExpectThatWaitsForNobody(Body&& body) {
  const int status = WaitFor(StartChild([&] {
    alarm(20);
    return body() && !testing::Test::HasFailure() ? 0 : 1;
  }));
  EXPECT_EQ(status, 0);
}

void ExpectThatTakesWhatThereIsRoomFor(const Ends& ends) {
  ExpectThatWaitsForNobody([&] {
    const UnwaitingOutput output(ends.writer.get());
    const auto taken = output.Write(std::string(kMuch, 'x'));
    EXPECT_TRUE(taken && *taken > 0 && *taken < kMuch);
    EXPECT_EQ(output.Write("more"), 0U);
    std::size_t read = 0;
    while (read < *taken) read += ReadUpTo(ends.reader.get(), *taken - read).size();
    EXPECT_EQ(output.Write("again"), 5U);
    return ReadUpTo(ends.reader.get(), kMuch) == "again";
  });
}

TEST(UnwaitingOutput, APipeTakesWhatThereIsRoomFor) {
  ExpectThatTakesWhatThereIsRoomFor(Pipe());
}

TEST(UnwaitingOutput, ASocketDoesToo) {
  ExpectThatTakesWhatThereIsRoomFor(Sockets());
}

TEST(UnwaitingOutput, APipeOfAnothersDoesToo) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can be somebody else";
  const Ends ends = Pipe();
  ASSERT_EQ(fchmod(ends.writer.get(), 0600), 0);
  ASSERT_EQ(seteuid(kSomebody), 0);
  ExpectThatTakesWhatThereIsRoomFor(ends);
  ASSERT_EQ(seteuid(0), 0);
}

// Others have it open too.
TEST(UnwaitingOutput, ThePipeItselfWaitsAsItDid) {
  const Ends ends = Pipe();
  const UnwaitingOutput output(ends.writer.get());
  EXPECT_EQ(output.Write("x"), 1U);
  EXPECT_EQ(fcntl(ends.writer.get(), F_GETFL) & O_NONBLOCK, 0);
}

TEST(UnwaitingOutput, AFileIsWrittenWhereItIs) {
  const TempDir dir;
  const FileDescriptor file(open((dir.path() / "f").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(write(file.get(), "one ", 4), 4);
  EXPECT_EQ(UnwaitingOutput(file.get()).Write("two"), 3U);
  EXPECT_EQ(ReadFile(dir.path() / "f"), "one two");
}

TEST(UnwaitingOutput, WhatCannotBeWrittenIsAnError) {
  const Ends ends = Pipe();
  for (const int descriptor : {ends.reader.get(), 1000}) {
    EXPECT_FALSE(UnwaitingOutput(descriptor).Write("x"));
    EXPECT_EQ(errno, EBADF);
  }
}

TEST(UnwaitingOutput, AFullDiskIsOne) {
  const FileDescriptor full(open("/dev/full", O_WRONLY | O_CLOEXEC));
  EXPECT_FALSE(UnwaitingOutput(full.get()).Write("x"));
  EXPECT_EQ(errno, ENOSPC);
}

TEST(ProgressOutput, ALineThatIsNotTakenIsDropped) {
  const Ends ends = Pipe();
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> out(fdopen(dup(ends.writer.get()), "w"),
                                                               &std::fclose);
  const auto room = static_cast<std::size_t>(fcntl(ends.writer.get(), F_GETPIPE_SZ));
  ASSERT_EQ(write(ends.writer.get(), std::string(room, 'x').data(), room), static_cast<ssize_t>(room));
  ExpectThatWaitsForNobody([&] {
    Progress progress(out.get(), ProgressMode::kLines);
    progress.Show({1, 9, {}, ""});
    EXPECT_EQ(ReadUpTo(ends.reader.get(), room).size(), room);
    progress.Show({2, 9, {}, ""});
    return ReadUpTo(ends.reader.get(), room) == "lumivault: 2 of 9\n";
  });
}

// A pipe takes only what is short as a whole.
TEST(ProgressOutput, ALineThatIsTakenInPartIsCompleted) {
  constexpr std::size_t kLong = 10'000;
  const Ends ends = Pipe();
  const std::unique_ptr<std::FILE, decltype(&std::fclose)> out(fdopen(dup(ends.writer.get()), "w"),
                                                               &std::fclose);
  const ProgressState state{1, 9, {}, std::string(kLong, 'f')};
  const std::string line = "lumivault: " + ProgressLine(state) + "\n";
  ExpectThatWaitsForNobody([&] {
    Progress progress(out.get(), ProgressMode::kLines);
    for (std::size_t i = 0; i < kMuch / kLong; ++i) progress.Show(state);
    std::string text = ReadUpTo(ends.reader.get(), kMuch);
    progress.Show(state);
    text += ReadUpTo(ends.reader.get(), kMuch);
    while (text.starts_with(line)) text.erase(0, line.size());
    return text.empty();
  });
}

}  // namespace
