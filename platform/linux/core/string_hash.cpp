#include "platform/string_hash.h"

#include <errno.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "core/error.h"

namespace {

struct Entry {
  std::string key;
  std::string value;
};

}  // namespace

struct __tag_RLIBCSZHASH {
  std::vector<std::unique_ptr<Entry>> entries;            // in insertion order
  std::unordered_map<std::string_view, Entry*> entry_of;  // the keys are those of the entries
};

namespace {

RLIBCSZHASH* Allocate(int buckets) {
  auto hash = std::make_unique<RLIBCSZHASH>();
  if (buckets > 0) hash->entry_of.reserve(static_cast<std::size_t>(buckets));
  return hash.release();
}

// Afterwards one more entry needs no memory of the vector, so that vector and map cannot come apart.
void MakeRoom(std::vector<std::unique_ptr<Entry>>& entries) {
  constexpr std::size_t kFirstRoom = 16;
  if (entries.size() == entries.capacity()) entries.reserve(std::max(kFirstRoom, 2 * entries.size()));
}

int Set(RLIBCSZHASH& hash, const char* key, const char* value) {
  const auto found = hash.entry_of.find(key);
  if (found != hash.entry_of.end()) {
    found->second->value = value;
    return 0;
  }
  auto entry = std::make_unique<Entry>(Entry{key, value});
  MakeRoom(hash.entries);
  hash.entry_of.emplace(entry->key, entry.get());
  hash.entries.push_back(std::move(entry));
  return 0;
}

void Remove(RLIBCSZHASH& hash, Entry* entry) {
  hash.entry_of.erase(entry->key);
  std::erase_if(hash.entries, [&](const auto& owned) { return owned.get() == entry; });
}

}  // namespace

RLIBCSZHASH* RLIBCSzHashAlloc(int buckets) {
  return WithoutExceptions<RLIBCSZHASH*>(nullptr, [&] { return Allocate(buckets); });
}

int RLIBCSzHashSetValue(RLIBCSZHASH* hash, const char* key, const char* value) {
  if (hash == nullptr || key == nullptr || value == nullptr) {
    RECORD_ERROR(EINVAL);
    return -1;
  }
  return WithoutExceptions(-1, [&] { return Set(*hash, key, value); });
}

const char* RLIBCSzHashGetValue(const RLIBCSZHASH* hash, const char* key) {
  if (hash == nullptr || key == nullptr) return nullptr;
  const auto found = hash->entry_of.find(key);
  return found != hash->entry_of.end() ? found->second->value.c_str() : nullptr;
}

int RLIBCSzHashRemoveKey(RLIBCSZHASH* hash, const char* key) {
  if (hash == nullptr || key == nullptr) return -1;
  const auto found = hash->entry_of.find(key);
  if (found == hash->entry_of.end()) return -1;
  Remove(*hash, found->second);
  return 0;
}

int RLIBCSzHashCount(const RLIBCSZHASH* hash) {
  return hash != nullptr ? static_cast<int>(hash->entries.size()) : 0;
}

int RLIBCSzHashAt(const RLIBCSZHASH* hash, int index, const char** key, const char** value) {
  if (index < 0 || index >= RLIBCSzHashCount(hash)) return -1;
  const Entry& entry = *hash->entries[static_cast<std::size_t>(index)];
  if (key != nullptr) *key = entry.key.c_str();
  if (value != nullptr) *value = entry.value.c_str();
  return 0;
}

void RLIBCSzHashFree(RLIBCSZHASH* hash) {
  const std::unique_ptr<RLIBCSZHASH> owned(hash);
}
