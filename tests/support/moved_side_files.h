// Side files that wait where a file has moved to, on any library.
#ifndef TESTS_SUPPORT_MOVED_SIDE_FILES_H_
#define TESTS_SUPPORT_MOVED_SIDE_FILES_H_

#include <filesystem>
#include <string>

#include "support/media_maker.h"

template <typename Base>
class MovedSideFilesTest : public Base {
 protected:
  static constexpr const char* kPlace = R"({"lat":12.5,"lng":-3.25})";

  // A side file of what is in trip/NAME.
  std::filesystem::path SideFile(const std::string& name, const std::string& kind) const {
    return this->File("trip/@eaDir/" + name + "/" + kind);
  }
  void PutSideFile(const std::string& name, const std::string& kind, const std::string& text) const {
    WriteFile(SideFile(name, kind), text);
  }
  // The value of the row that the file trip/NAME has in TABLE.
  std::string ValueOf(const std::string& table, const std::string& column, const std::string& name) const {
    return this->Value("SELECT " + column + " FROM " + table +
                       " WHERE path = " + this->KeyLiteral("trip/" + name));
  }
  void Move(const std::string& from, const std::string& to) const {
    std::filesystem::rename(this->File("trip/" + from), this->File("trip/" + to));
  }
  [[nodiscard]] bool IndexedVideo() {
    if (!MakeVideo(this->File("trip/a.mp4"), 64, 48, 0.2)) return false;
    this->Index();
    return true;
  }
};

#endif  // TESTS_SUPPORT_MOVED_SIDE_FILES_H_
