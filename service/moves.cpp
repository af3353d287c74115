#include "moves.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>
#include <utility>

#include "fingerprint.h"

namespace {

using Entries = std::vector<CatalogueEntry>;

// Recorded entries that are not where they were, until an arrival takes them.
class Sources {
 public:
  void Add(const Entries& entries) {
    for (const CatalogueEntry& entry : entries) {
      if (entry.stamp.inode != 0) by_object_.emplace(entry.stamp, &entry);
    }
  }

  const CatalogueEntry* Take(const Arrival& arrival) {
    const auto [first, last] = by_object_.equal_range(arrival.stamp);
    for (auto found = first; found != last; ++found) {
      const CatalogueEntry& entry = *found->second;
      if (entry.kind != arrival.kind || entry.path == arrival.path || !IsCertain(entry, arrival)) continue;
      by_object_.erase(found);
      return &entry;
    }
    return nullptr;
  }

 private:
  // An inode number alone may have been used again.
  static bool IsCertain(const CatalogueEntry& entry, const Arrival& arrival) {
    return arrival.stamp.birth != 0 || entry.stamp.SameContent(arrival.stamp);
  }

  std::unordered_multimap<FileStamp, const CatalogueEntry*, ObjectHash, ObjectEqual> by_object_;
};

// Gone files that may have been copied before they were deleted.
class Copies {
 public:
  Copies(const Entries& gone, const std::unordered_set<std::string>& moved, std::string library)
      : library_(std::move(library)) {
    for (const CatalogueEntry& entry : gone) {
      if (entry.fingerprint.empty() || moved.contains(entry.path)) continue;
      by_content_.emplace(entry.fingerprint, &entry);
      sizes_.insert(entry.stamp.size);
    }
  }

  const CatalogueEntry* Take(const Arrival& arrival) {
    if (!sizes_.contains(arrival.stamp.size)) return nullptr;
    const auto [first, last] = by_content_.equal_range(Fingerprint(library_ + "/" + arrival.path));
    for (auto found = first; found != last; ++found) {
      if (found->second->kind != arrival.kind) continue;
      const CatalogueEntry* entry = found->second;
      by_content_.erase(found);
      return entry;
    }
    return nullptr;
  }

 private:
  std::string library_;
  std::unordered_multimap<std::string, const CatalogueEntry*> by_content_;
  std::unordered_set<std::int64_t> sizes_;
};

Move MoveOf(const CatalogueEntry& entry, const Arrival& arrival) {
  return {entry.path, arrival.path, arrival.kind, arrival.stamp, entry.fingerprint};
}

std::unordered_set<std::string> SourcesOf(const std::vector<Move>& moves) {
  std::unordered_set<std::string> paths;
  for (const Move& move : moves) paths.insert(move.from);
  return paths;
}

void DropMoved(std::vector<Arrival>& arrivals, Entries& gone, const std::vector<Move>& moves) {
  std::unordered_set<std::string> targets;
  for (const Move& move : moves) targets.insert(move.to);
  const auto sources = SourcesOf(moves);
  std::erase_if(arrivals, [&](const Arrival& arrival) { return targets.contains(arrival.path); });
  std::erase_if(gone, [&](const CatalogueEntry& entry) { return sources.contains(entry.path); });
}

// The hidden name under which rows wait; the inode makes it the only one.
std::string WaitingName(const Move& move) {
  const std::size_t name = move.to.rfind('/') + 1;
  const std::size_t dot = move.from.rfind('.');
  return move.to.substr(0, name) + ".lumivault-moving-" + std::to_string(move.stamp.inode) +
         move.from.substr(dot == std::string::npos ? move.from.size() : dot);
}

// Gives each move its step: what stands under the new name of one moves before it. A ring is opened by
// setting one of its files aside.
class StepMaker {
 public:
  explicit StepMaker(std::vector<Move>& moves) : moves_(moves) {
    for (std::size_t i = 0; i < moves.size(); ++i) by_source_.emplace(moves[i].from, i);
  }

  void Run() {
    std::unordered_set<std::string> targets;
    for (const Move& move : moves_) targets.insert(move.to);
    const std::size_t count = moves_.size();
    done_.resize(count);
    for (std::size_t i = 0; i < count; ++i) {
      if (!targets.contains(moves_[i].from)) NumberChain(ChainFrom(i), 0);
    }
    for (std::size_t i = 0; i < count; ++i) {
      if (!done_[i]) OpenRing(i);
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

  void OpenRing(std::size_t start) {
    std::vector<std::size_t> ring = ChainFrom(start);
    Move aside = moves_[ring.back()];
    aside.sets_aside = true;
    aside.to = WaitingName(aside);
    moves_[ring.back()].from = aside.to;
    moves_[ring.back()].step = static_cast<std::uint32_t>(ring.size());
    ring.pop_back();
    NumberChain(ring, 1);
    moves_.push_back(std::move(aside));
  }

  std::vector<Move>& moves_;
  std::unordered_map<std::string, std::size_t> by_source_;
  std::vector<bool> done_;
};

}  // namespace

std::vector<Move> TakeFolderMoves(Differences& differences) {
  Sources sources;
  sources.Add(differences.gone_folders);
  sources.Add(differences.replaced_folders);
  std::vector<Move> moves;
  for (const Arrival& arrival : differences.folders) {
    if (arrival.known) continue;
    if (const CatalogueEntry* entry = sources.Take(arrival)) moves.push_back(MoveOf(*entry, arrival));
  }
  DropMoved(differences.folders, differences.gone_folders, moves);
  return moves;
}

std::vector<Move> TakeFileMoves(Differences& differences, const std::string& library) {
  Sources sources;
  sources.Add(differences.gone_files);
  sources.Add(differences.replaced_files);
  std::vector<Move> moves;
  std::vector<const Arrival*> rest;
  for (const Arrival& arrival : differences.files) {
    if (const CatalogueEntry* entry = sources.Take(arrival)) {
      moves.push_back(MoveOf(*entry, arrival));
    } else if (!arrival.known) {
      rest.push_back(&arrival);
    }
  }
  Copies copies(differences.gone_files, SourcesOf(moves), library);
  for (const Arrival* arrival : rest) {
    if (const CatalogueEntry* entry = copies.Take(*arrival)) moves.push_back(MoveOf(*entry, *arrival));
  }
  DropMoved(differences.files, differences.gone_files, moves);
  StepMaker(moves).Run();
  std::stable_sort(moves.begin(), moves.end(), [](const Move& a, const Move& b) { return a.step < b.step; });
  return moves;
}
