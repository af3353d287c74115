#ifndef SERVICE_WATCH_HINT_H_
#define SERVICE_WATCH_HINT_H_

#include <cstdint>
#include <string>

#include "files/walk_scope.h"

// What is known of the writing of a file that may differ.
enum class HintState : std::uint8_t {
  kGrowing,   // somebody writes it, and will tell of the end
  kTouched,   // it may be written, or not
  kComplete,  // it is as somebody wanted it to be
  kMoved,     // the same; it bears another name now, or is gone
};

// Something of a library may not be as it was. Never more than that: what is there, a survey tells.
struct Hint {
  std::string path;  // below the library; "" for the library itself
  Reach reach = Reach::kName;
  HintState state = HintState::kComplete;
};

class HintListener {
 public:
  virtual ~HintListener() = default;
  virtual void Hinted(const Hint& hint) = 0;
  // What stands under the library's path is not, or no longer, what was watched. The source has ended.
  virtual void RootLost() = 0;
};

#endif  // SERVICE_WATCH_HINT_H_
