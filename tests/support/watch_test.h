#ifndef TESTS_SUPPORT_WATCH_TEST_H_
#define TESTS_SUPPORT_WATCH_TEST_H_

#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "support/comparable_export.h"
#include "support/media_maker.h"
#include "support/service_test.h"

// The folder of the test is watched by the real program.
class WatchTest : public ServiceTest {
 protected:
  WatchTest() { std::filesystem::create_directories(folder()); }

  // Settles quickly, and tells in JSON.
  void Watch(std::vector<std::string> more = {}) {
    std::vector<std::string> arguments{"watch", folder(), "--json", "--settle", "0.03"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    watch_ = Start(arguments);
    ASSERT_TRUE(Eventually([&] { return !News("watching").empty() || !News("failed").empty(); }))
        << watch_->err();
  }
  RunResult StopWatch(int signal = SIGTERM) {
    watch_->Signal(signal);
    return std::exchange(watch_, nullptr)->Wait();
  }

  // What was told so far of this EVENT.
  std::vector<Json::Value> News(const std::string& event) const {
    std::vector<Json::Value> news;
    std::istringstream text(watch_->out());
    for (std::string line; std::getline(text, line) && !text.eof();) {
      Json::Value value = StrictJson(line + "\n");
      if (value["event"] == event) news.push_back(std::move(value));
    }
    return news;
  }
  // The sum of a count over all runs.
  std::size_t Sum(const std::string& count) const {
    std::size_t sum = 0;
    for (const Json::Value& run : News("run")) sum += run[count].asUInt();
    return sum;
  }

  bool HasRow(const std::string& path) const {
    return Value("SELECT count(*) FROM photo_image WHERE path = '" + path + "'") == "1";
  }
  // What happened before this call has had its run: one that meets something later has come to its end. That
  // is no photo, so it is in no library.
  void CatchUp() {
    const std::string name = "caught-up-" + std::to_string(++caught_up_) + ".jpg";
    WriteFile(File(name), "no photo");
    ASSERT_TRUE(Eventually([&] { return HasTold(name); })) << name << "\n" << watch_->out() << watch_->err();
  }
  bool HasTold(const std::string& file) const {
    const std::string text = watch_->out();
    const std::size_t found = text.find("/" + file + "\"");
    return found != std::string::npos && text.find('\n', found) != std::string::npos;
  }

  std::vector<std::string> Exported(const std::filesystem::path& library) {
    const RunResult result = Run({"export", library});
    EXPECT_EQ(result.status, 0) << result.err;
    return ComparableExport(result.out);
  }
  // Of a library that is made of the same tree now.
  std::vector<std::string> ExportOfNew() {
    const std::filesystem::path copy = scratch() / ("copy" + std::to_string(++copies_));
    const std::string command = "cp -a '" + folder().string() + "' '" + copy.string() + "' && rm -f '" +
                                copy.string() + "'/.KAVOHGADB*";
    EXPECT_EQ(std::system(command.c_str()), 0);
    EXPECT_NE(Run({"index", copy, "--quiet"}).status, 1);
    auto lines = Exported(copy);
    std::filesystem::remove_all(copy);
    return lines;
  }
  // Says which rows differ.
  void ExpectAsNew() {
    const std::vector<std::string> ours = Exported(folder());
    const std::vector<std::string> fresh = ExportOfNew();
    std::vector<std::string> lacking;
    std::vector<std::string> wrong;
    std::set_difference(fresh.begin(), fresh.end(), ours.begin(), ours.end(), std::back_inserter(lacking));
    std::set_difference(ours.begin(), ours.end(), fresh.begin(), fresh.end(), std::back_inserter(wrong));
    for (const std::string& row : lacking) ADD_FAILURE() << "lacking: " << row;
    for (const std::string& row : wrong) ADD_FAILURE() << "wrong: " << row;
  }

  std::unique_ptr<ProgramRun> watch_;

 private:
  int caught_up_ = 0;
  int copies_ = 0;
};

#endif  // TESTS_SUPPORT_WATCH_TEST_H_
