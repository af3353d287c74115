#ifndef SERVICE_WORK_ITEM_H_
#define SERVICE_WORK_ITEM_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

// One thing that a worker does with the plug-in.
enum class ItemKind : std::uint8_t { kFolder, kPhoto, kVideo };

struct WorkItem {
  ItemKind kind = ItemKind::kPhoto;
  std::string path;  // absolute
};

// What became of it.
struct ItemResult {
  bool stored = false;  // it is in the database
  std::string
      trouble;  // one line: why it is not, or what is wrong with the file that it was read from; else empty

  static ItemResult Stored(std::string trouble = "") { return {true, std::move(trouble)}; }
  static ItemResult Failed(std::string why) { return {false, std::move(why)}; }
};

// A worker gets this many at a time: enough to make one transaction of them worth while, few enough to be
// lost with it.
inline constexpr std::size_t kBatchSize = 32;

#endif  // SERVICE_WORK_ITEM_H_
