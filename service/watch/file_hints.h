#ifndef SERVICE_WATCH_FILE_HINTS_H_
#define SERVICE_WATCH_FILE_HINTS_H_

#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "watch/hint.h"

// What the kernel may tell of a name, whatever it calls it.
enum Told : unsigned {
  kToldMade = 1,
  kToldMovedIn = 2,
  kToldWent = 4,
  kToldClosed = 8,  // after writing
  kToldWritten = 16,
  kToldTouched = 32,  // mode, owner, times, number of names
};

// A walk enters no folder of this name and takes no file.
bool IsLeftOut(std::string_view name);
// The path of NAME in FOLDER, both below a library.
std::string PathIn(const std::string& folder, std::string_view name);
// Takes TOP and what lies below it out of PATHS.
void EraseTree(std::set<std::string>& paths, const std::string& top);

// Makes hints of what is told of a library's files, and knows which of them are links. Used by one thread.
class FileHints {
 public:
  // LISTENER outlives it.
  FileHints(std::string folder, HintListener& listener) : folder_(std::move(folder)), listener_(listener) {}

  // What was told, of the file at PATH.
  void Tell(unsigned told, const std::string& path);
  // Takes in the names in the folder that the descriptor FOLDER, which it takes over, stands for; each folder
  // goes to FOUND. False where it could not be listed to its end.
  bool List(int folder, const std::string& path, const std::function<void(std::string)>& found);
  void Forget(const std::string& path) { EraseTree(links_, path); }
  const std::set<std::string>& links() const { return links_; }

 private:
  void NoteName(int folder, const std::string& path, const char* name, unsigned char type,
                const std::function<void(std::string)>& found);
  bool NoteLink(unsigned told, const std::string& path);

  const std::string folder_;
  HintListener& listener_;
  std::set<std::string> links_;
};

#endif  // SERVICE_WATCH_FILE_HINTS_H_
