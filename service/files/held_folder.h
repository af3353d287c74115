#ifndef SERVICE_FILES_HELD_FOLDER_H_
#define SERVICE_FILES_HELD_FOLDER_H_

#include <string>

#include "files/looking.h"
#include "platform/media_file.h"

// This process reads the library in FOLDER as long as one lives (media_file.h), with the rights that Looking
// gives. A process has one at a time, and nobody else is served meanwhile, who might read another library;
// longer than that it would keep a disk from being unmounted.
class HeldFolder {
 public:
  explicit HeldFolder(const std::string& folder) {
    const Looking looking;
    held_ = looking && KAVOMediaFolderHold(folder.c_str()) == 0;
  }
  ~HeldFolder() { KAVOMediaFolderHold(nullptr); }
  HeldFolder(const HeldFolder&) = delete;
  HeldFolder& operator=(const HeldFolder&) = delete;

  // False, with errno, where it cannot be held.
  explicit operator bool() const { return held_; }

 private:
  bool held_ = false;
};

#endif  // SERVICE_FILES_HELD_FOLDER_H_
