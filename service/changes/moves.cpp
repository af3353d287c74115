#include "changes/moves.h"

#include <errno.h>

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "common/display.h"
#include "common/error_text.h"
#include "common/path_parts.h"
#include "files/fingerprint.h"
#include "files/held_folder.h"
#include "library/album_name.h"

namespace {

using Entries = std::vector<CatalogueEntry>;

// Takes one of the entries under KEY that FITS out of MAP. Where several do (links to one file, or copies of
// it), one that bears the name of PATH is it.
template <typename Map, typename Key, typename Fits>
const CatalogueEntry* TakeBestMatch(Map& map, const Key& key, const std::string& path, const Fits& fits) {
  const auto [first, last] = map.equal_range(key);
  auto found = last;
  for (auto candidate = first; candidate != last; ++candidate) {
    if (!fits(*candidate->second)) continue;
    const bool namesake = NameOf(candidate->second->path) == NameOf(path);
    if (found == last || namesake) found = candidate;
    if (namesake) break;
  }
  if (found == last) return nullptr;
  const CatalogueEntry* entry = found->second;
  map.erase(found);
  return entry;
}

// Recorded entries that are not where they were, until an arrival takes them.
class MissingByObject {
 public:
  void Add(const Entries& entries) {
    for (const CatalogueEntry& entry : entries) {
      if (entry.stamp.inode != 0) by_object_.emplace(entry.stamp, &entry);
    }
  }

  const CatalogueEntry* Take(const Arrival& arrival) {
    return TakeBestMatch(by_object_, arrival.stamp, arrival.path, [&](const CatalogueEntry& entry) {
      return entry.kind == arrival.kind && entry.path != arrival.path && IsCertain(entry, arrival);
    });
  }

 private:
  // An inode number alone may have been used again; on another file system every one of them is.
  static bool IsCertain(const CatalogueEntry& entry, const Arrival& arrival) {
    if (entry.elsewhere) return arrival.stamp.birth != 0;
    return arrival.stamp.birth != 0 || entry.stamp.SameContent(arrival.stamp);
  }

  std::unordered_multimap<FileStamp, const CatalogueEntry*, ObjectHash, ObjectEqual> by_object_;
};

// Gone files that may have been copied before they were deleted. One that may be out of reach has been copied
// and is there still.
class MissingByContent {
 public:
  MissingByContent(const Entries& gone, const std::unordered_set<std::string>& moved, std::string library)
      : library_(std::move(library)) {
    for (const CatalogueEntry& entry : gone) {
      if (entry.elsewhere || entry.fingerprint.empty() || moved.contains(entry.path)) continue;
      by_content_.emplace(entry.fingerprint, &entry);
      sizes_.insert(entry.stamp.size);
    }
  }

  // Null where it is the copy of none. Nothing is known of copies where the library cannot be reached.
  Outcome<const CatalogueEntry*> Take(const Arrival& arrival) {
    if (!sizes_.contains(arrival.stamp.size)) return nullptr;
    const HeldFolder held(library_);
    if (!held) return Failure{ExitStatus::kFatal, AboutFile(library_, ErrorText(errno))};
    return TakeBestMatch(by_content_, Fingerprint(library_ + "/" + arrival.path), arrival.path,
                         [&](const CatalogueEntry& entry) { return entry.kind == arrival.kind; });
  }

 private:
  std::string library_;
  std::unordered_multimap<std::string, const CatalogueEntry*> by_content_;
  std::unordered_set<std::int64_t> sizes_;
};

// Gone files of which the catalogue knows name and size alone, since it was made anew from the database. One
// that arrived is it where no other of either side has that name and size.
class MissingByName {
 public:
  MissingByName(const Entries& gone, const std::vector<const Arrival*>& arrivals) {
    for (const CatalogueEntry& entry : gone) {
      if (entry.elsewhere || entry.outcome != ItemOutcome::kPartial || entry.stamp.size == 0) continue;
      Pair& pair = pairs_[KeyOf(entry.path, entry.stamp.size)];
      pair.entry = &entry;
      ++pair.gone;
    }
    for (const Arrival* arrival : arrivals) {
      const auto found = pairs_.find(KeyOf(arrival->path, arrival->stamp.size));
      if (found != pairs_.end()) ++found->second.arrived;
    }
  }

  const CatalogueEntry* Find(const Arrival& arrival) const {
    const auto found = pairs_.find(KeyOf(arrival.path, arrival.stamp.size));
    if (found == pairs_.end() || found->second.gone != 1 || found->second.arrived != 1) return nullptr;
    return found->second.entry->kind == arrival.kind ? found->second.entry : nullptr;
  }

 private:
  struct Pair {
    const CatalogueEntry* entry = nullptr;
    std::size_t gone = 0;
    std::size_t arrived = 0;
  };
  static std::string KeyOf(const std::string& path, std::int64_t size) {
    return NameOf(path) + "/" + std::to_string(size);
  }

  std::unordered_map<std::string, Pair> pairs_;
};

Move MoveOf(const CatalogueEntry& entry, const Arrival& arrival, bool same_content) {
  return {entry.path, arrival.path, arrival.kind, arrival.stamp, same_content};
}

std::unordered_set<std::string> OldPathsOf(const std::vector<Move>& moves) {
  std::unordered_set<std::string> paths;
  for (const Move& move : moves) paths.insert(move.from);
  return paths;
}

void RemoveMoved(std::deque<Arrival>& arrivals, Entries& gone, const std::vector<Move>& moves) {
  std::unordered_set<std::string> targets;
  for (const Move& move : moves) targets.insert(move.to);
  const auto sources = OldPathsOf(moves);
  std::erase_if(arrivals, [&](const Arrival& arrival) { return targets.contains(arrival.path); });
  std::erase_if(gone, [&](const CatalogueEntry& entry) { return sources.contains(entry.path); });
}

// The hidden name under which rows wait. The inode is not enough: it may have several names.
std::string HiddenName(const Move& move, std::size_t number) {
  const std::size_t name = move.to.rfind('/') + 1;
  const std::size_t dot = move.from.rfind('.');
  return move.to.substr(0, name) + ".lumivault-moving-" + std::to_string(move.stamp.inode) + "-" +
         std::to_string(number) + move.from.substr(dot == std::string::npos ? move.from.size() : dot);
}

// Gives each move its step: what stands under the new name of one moves before it. A ring is opened by
// parking the rows of one of its files.
class MoveSteps {
 public:
  // Names in RECORDED have rows, left by a run that ended early.
  MoveSteps(std::vector<Move>& moves, const Entries& recorded) : moves_(moves) {
    for (const CatalogueEntry& entry : recorded) used_names_.insert(entry.path);
    for (std::size_t i = 0; i < moves.size(); ++i) by_source_.emplace(moves[i].from, i);
  }

  void Run() {
    std::unordered_set<std::string> targets;
    for (const Move& move : moves_) targets.insert(move.to);
    used_names_.insert(targets.begin(), targets.end());
    const std::size_t count = moves_.size();
    done_.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
      if (!targets.contains(moves_[i].from)) NumberChain(ChainFrom(i), 0);
    }
    for (std::size_t i = 0; i < count; ++i) {
      if (!done_[i]) BreakRing(i);
    }
  }

 private:
  std::vector<std::size_t> ChainFrom(std::size_t start) {
    std::vector<std::size_t> chain;
    for (std::size_t at = start; !done_[at];) {
      done_[at] = true;
      chain.push_back(at);
      const auto next = by_source_.find(moves_[at].to);
      if (next == by_source_.end()) break;
      at = next->second;
    }
    return chain;
  }

  void NumberChain(const std::vector<std::size_t>& chain, std::uint32_t first) {
    for (auto move = chain.rbegin(); move != chain.rend(); ++move) moves_[*move].step = first++;
  }

  void BreakRing(std::size_t start) {
    std::vector<std::size_t> ring = ChainFrom(start);
    Move parking = moves_[ring.back()];
    parking.parks_rows = true;
    for (std::size_t number = start; !used_names_.insert(parking.to).second; ++number) {
      parking.to = HiddenName(parking, number);
    }
    moves_[ring.back()].from = parking.to;
    moves_[ring.back()].step = static_cast<std::uint32_t>(ring.size());
    ring.pop_back();
    NumberChain(ring, 1);
    moves_.push_back(std::move(parking));
  }

  std::vector<Move>& moves_;
  std::unordered_set<std::string> used_names_;
  std::unordered_map<std::string, std::size_t> by_source_;
  std::vector<bool> done_;
};

}  // namespace

std::vector<Move> TakeFolderMoves(Differences& differences) {
  MissingByObject sources;
  sources.Add(differences.gone_folders);
  sources.Add(differences.replaced_folders);
  std::vector<Move> moves;
  for (const Arrival& arrival : differences.folders) {
    if (arrival.known || NoAlbumReason(arrival.path) != nullptr) continue;
    if (const CatalogueEntry* entry = sources.Take(arrival)) moves.push_back(MoveOf(*entry, arrival, true));
  }
  RemoveMoved(differences.folders, differences.gone_folders, moves);
  return moves;
}

Outcome<std::vector<Move>> TakeFileMoves(Differences& differences, const std::string& library,
                                         const StopQuestion& stopped) {
  MissingByObject sources;
  sources.Add(differences.gone_files);
  sources.Add(differences.replaced_files);
  std::vector<Move> moves;
  std::vector<const Arrival*> rest;
  for (const Arrival& arrival : differences.files) {
    if (const CatalogueEntry* entry = sources.Take(arrival)) {
      moves.push_back(MoveOf(*entry, arrival, entry->stamp.SameContent(arrival.stamp)));
    } else if (!arrival.known) {
      rest.push_back(&arrival);
    }
  }
  // The surest first: an object that is known, then a content, then a name and size alone.
  MissingByContent copies(differences.gone_files, OldPathsOf(moves), library);
  const MissingByName namesakes(differences.gone_files, rest);
  for (const Arrival* arrival : rest) {
    if (stopped && stopped()) break;
    const auto copied = copies.Take(*arrival);
    if (!copied) return copied.failure();
    const CatalogueEntry* entry = *copied != nullptr ? *copied : namesakes.Find(*arrival);
    if (entry != nullptr) moves.push_back(MoveOf(*entry, *arrival, true));
  }
  // RemoveMoved takes those that moved out of it, and rows bear their names until the moves are done.
  const Entries recorded = differences.gone_files;
  RemoveMoved(differences.files, differences.gone_files, moves);
  MoveSteps(moves, recorded).Run();
  std::stable_sort(moves.begin(), moves.end(), [](const Move& a, const Move& b) { return a.step < b.step; });
  return moves;
}
