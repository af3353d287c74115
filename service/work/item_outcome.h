#ifndef SERVICE_WORK_ITEM_OUTCOME_H_
#define SERVICE_WORK_ITEM_OUTCOME_H_

#include <cstdint>

// What became of a file or folder: the one word for it in a worker's answer, in the report and in the
// catalogue.
enum class ItemOutcome : std::uint8_t {
  kStored,    // what was to be in the database is there
  kDamaged,   // so is what could be read of it; something is lacking
  kUnusable,  // not stored because of the file: it would fail again
  kPartial,   // its rows are there, its background job is not or it was not read to its end: to be sent again
  kUnopened,  // it cannot be opened, which says nothing about it: it is worth trying again
  kNotKept,   // not stored for a reason outside the file: it is worth trying again
  kSkipped,   // left out for now, and told as such: what is behind it is unknown, not gone
  kCrashed,   // it took its worker with it; no worker says so
  kPlanned,   // its rows are about to get this name; in the catalogue alone
};
// The last that a worker may say.
inline constexpr ItemOutcome kLastSaid = ItemOutcome::kSkipped;

// What was to be in the database, or what could be read of it, is there.
inline bool IsStored(ItemOutcome outcome) {
  return outcome == ItemOutcome::kStored || outcome == ItemOutcome::kDamaged;
}

#endif  // SERVICE_WORK_ITEM_OUTCOME_H_
