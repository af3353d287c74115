// String lists, string hashes and text functions.
#include <algorithm>
#include <cstring>
#include <memory>

#include "base/utf8.h"
#include "platform/string_hash.h"
#include "platform/string_list.h"
#include "platform/text.h"
#include "support/fake_record.h"

struct __tag_RLIBCSZLIST {
  std::vector<std::string> entries;
};

struct __tag_RLIBCSZHASH {
  std::vector<std::pair<std::string, std::string>> entries;

  auto Find(std::string_view key) {
    return std::find_if(entries.begin(), entries.end(),
                        [&](const auto& entry) { return entry.first == key; });
  }
};

RLIBCSZLIST* RLIBCSzListAlloc(int size) {
  return Fails("RLIBCSzListAlloc", size) ? nullptr : new RLIBCSZLIST;  // NOLINT: freed by RLIBCSzListFree
}

int RLIBCSzListPush(RLIBCSZLIST* list, const char* text) {
  return Answered("RLIBCSzListPush", [&]() -> int {
    if (Fails("RLIBCSzListPush", text)) return -1;
    list->entries.emplace_back(text);
    return static_cast<int>(list->entries.size());
  });
}

int RLIBCSzListCount(const RLIBCSZLIST* list) {
  Record("RLIBCSzListCount");
  return list == nullptr ? 0 : static_cast<int>(list->entries.size());
}

const char* RLIBCSzListGet(const RLIBCSZLIST* list, int index) {
  Record("RLIBCSzListGet", index);
  if (index < 0 || static_cast<std::size_t>(index) >= list->entries.size()) return nullptr;
  return list->entries[static_cast<std::size_t>(index)].c_str();
}

void RLIBCSzListFree(RLIBCSZLIST* list) {
  Record("RLIBCSzListFree");
  const std::unique_ptr<RLIBCSZLIST> owned(list);
}

int RLIBCStrSepToList(const char* text, const char* separator, RLIBCSZLIST* list) {
  return Answered("RLIBCStrSepToList", [&]() -> int {
    if (Fails("RLIBCStrSepToList", text, separator)) return -1;
    const std::string whole = text;
    int pieces = 1;
    std::size_t start = 0;
    for (auto end = whole.find(separator); end != std::string::npos;
         end = whole.find(separator, start), ++pieces) {
      list->entries.push_back(whole.substr(start, end - start));
      start = end + std::strlen(separator);
    }
    list->entries.push_back(whole.substr(start));
    return pieces;
  });
}

RLIBCSZHASH* RLIBCSzHashAlloc(int buckets) {
  return Fails("RLIBCSzHashAlloc", buckets) ? nullptr : new RLIBCSZHASH;  // NOLINT: freed by RLIBCSzHashFree
}

int RLIBCSzHashSetValue(RLIBCSZHASH* hash, const char* key, const char* value) {
  return Answered("RLIBCSzHashSetValue", [&]() -> int {
    if (Fails("RLIBCSzHashSetValue", key, value)) return -1;
    const auto entry = hash->Find(key);
    if (entry != hash->entries.end()) {
      entry->second = value;
    } else {
      hash->entries.emplace_back(key, value);
    }
    return 0;
  });
}

const char* RLIBCSzHashGetValue(const RLIBCSZHASH* hash, const char* key) {
  Record("RLIBCSzHashGetValue", key);
  for (const auto& entry : hash->entries) {
    if (entry.first == key) return entry.second.c_str();
  }
  return nullptr;
}

int RLIBCSzHashRemoveKey(RLIBCSZHASH* hash, const char* key) {
  return Answered("RLIBCSzHashRemoveKey", [&]() -> int {
    Record("RLIBCSzHashRemoveKey", key);
    const auto entry = hash->Find(key);
    if (entry == hash->entries.end()) return -1;
    hash->entries.erase(entry);
    return 0;
  });
}

int RLIBCSzHashCount(const RLIBCSZHASH* hash) {
  Record("RLIBCSzHashCount");
  return hash == nullptr ? 0 : static_cast<int>(hash->entries.size());
}

int RLIBCSzHashAt(const RLIBCSZHASH* hash, int index, const char** key, const char** value) {
  return Answered("RLIBCSzHashAt", [&]() -> int {
    Record("RLIBCSzHashAt", index);
    if (index < 0 || static_cast<std::size_t>(index) >= hash->entries.size()) return -1;
    const auto& entry = hash->entries[static_cast<std::size_t>(index)];
    *key = entry.first.c_str();
    *value = entry.second.c_str();
    return 0;
  });
}

void RLIBCSzHashFree(RLIBCSZHASH* hash) {
  Record("RLIBCSzHashFree");
  const std::unique_ptr<RLIBCSZHASH> owned(hash);
}

namespace {

void TrimSet(char* text, const char* blanks) {
  const std::string whole = text;
  const auto first = whole.find_first_not_of(blanks);
  const auto last = whole.find_last_not_of(blanks);
  const std::string trimmed = first == std::string::npos ? "" : whole.substr(first, last - first + 1);
  std::memcpy(text, trimmed.c_str(), trimmed.size() + 1);
}

}  // namespace

int RLIBCUnicodeIsUTF8(const char* text) {
  return Answered("RLIBCUnicodeIsUTF8", [&]() -> int {
    if (Fails("RLIBCUnicodeIsUTF8", text) || text == nullptr) return 0;
    return IsUtf8(text) ? 1 : 0;
  });
}

int RLIBCCodePageGet(int kind) {
  Record("RLIBCCodePageGet", kind);
  return kind;
}

int RLIBCUnicodeStrCPToUTF8(int code_page, const char* from, char* out, int size) {
  return Answered("RLIBCUnicodeStrCPToUTF8", [&]() -> int {
    if (Fails("RLIBCUnicodeStrCPToUTF8", code_page, from, size)) return -1;
    std::string converted;
    for (const char* at = from; *at != '\0'; ++at) {
      const auto byte = static_cast<unsigned char>(*at);
      const std::string next = byte < 0x80 ? std::string(1, *at)
                                           : std::string{static_cast<char>(0xC0 | (byte >> 6)),
                                                         static_cast<char>(0x80 | (byte & 0x3F))};
      if (converted.size() + next.size() >= static_cast<std::size_t>(size)) break;
      converted += next;
    }
    return PutText(out, size, converted);
  });
}

int RLIBCStrTrimSpace(char* text) {
  return Answered("RLIBCStrTrimSpace", [&]() -> int {
    if (Fails("RLIBCStrTrimSpace", text) || text == nullptr) return -1;
    TrimSet(text, " \t\r\n\v\f");
    return 0;
  });
}

char* StringTrim(char* text) {
  Record("StringTrim", text);
  TrimSet(text, " \r\n");
  return text;
}

int RLIBCErrGet(void) {
  Record("RLIBCErrGet");
  return FakePlatform::kErrorCode;
}

const char* RLIBCErrorGetFile(void) {
  Record("RLIBCErrorGetFile");
  return FakePlatform::kErrorFile;
}

int RLIBCErrorGetLine(void) {
  Record("RLIBCErrorGetLine");
  return FakePlatform::kErrorLine;
}
