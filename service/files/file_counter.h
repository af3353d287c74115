#ifndef SERVICE_FILES_FILE_COUNTER_H_
#define SERVICE_FILES_FILE_COUNTER_H_

#include <sys/types.h>

#include <atomic>
#include <cstddef>
#include <optional>
#include <string>
#include <thread>

#include "files/open_folder.h"

// Counts the media files of a library in a thread of its own, ahead of the run, so that progress can say how
// much is left. What lies on another machine or in an image file is left out, as the run does. Made, asked
// and ended by the thread of the run.
class FileCounter {
 public:
  explicit FileCounter(std::string folder);
  ~FileCounter();
  FileCounter(const FileCounter&) = delete;
  FileCounter& operator=(const FileCounter&) = delete;

  // Nothing while it is still counting.
  std::optional<std::size_t> total() const;

 private:
  // The files of FOLDER, which is open below ROOT, and of the folders in it. One listing at a time is held,
  // and of that the names of folders alone. False when it was told to stop.
  bool Count(const std::string& folder, int root);

  bool LeadsElsewhere(const std::string& path) const;
  // What the name of ENTRY in FOLDER, listed by LISTING, is, links followed only to files: S_IFREG, S_IFDIR
  // or something else.
  mode_t TypeOf(const OpenFolder& listing, const dirent& entry, const std::string& folder) const;

  const std::string root_path_;
  std::atomic<std::size_t> count_ = 0;
  std::atomic<bool> finished_ = false;
  std::atomic<bool> stop_ = false;
  std::thread thread_;
};

#endif  // SERVICE_FILES_FILE_COUNTER_H_
