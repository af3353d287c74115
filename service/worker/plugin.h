#ifndef SERVICE_WORKER_PLUGIN_H_
#define SERVICE_WORKER_PLUGIN_H_

#include <json/value.h>

#include <memory>
#include <string>

#include "common/outcome.h"

// The plug-in, loaded and resolved by name. The functions are those of lumivault/photo_index.h and
// request_context.h. Threads: one call at a time.
class Plugin {
 public:
  static Outcome<Plugin> Load(const std::string& path);

  int (*IndexAdd_Json)(Json::Value* info, unsigned index_type) = nullptr;
  int (*IndexRename_Json)(Json::Value* info, unsigned index_type, const char* old_path) = nullptr;
  int (*IndexDelete)(const char* path) = nullptr;
  int (*IndexDirAdd)(const char* folder) = nullptr;
  int (*IndexDirRename)(const char* new_folder, const char* old_folder) = nullptr;
  int (*IndexDirDelete)(const char* folder) = nullptr;
  int (*IndexPreReindex)(const char* root) = nullptr;
  int (*IndexReindexUpdate_Json)(Json::Value* info, unsigned index_type) = nullptr;
  int (*IndexReindexDirUpdate)(const char* folder) = nullptr;
  int (*IndexPostReindex)(const char* root) = nullptr;
  int (*HGAStatusCheck)(const char* path) = nullptr;
  int (*IndexDBClose)() = nullptr;

 private:
  bool ResolveAll();

  struct Unload {
    void operator()(void* handle) const;
  };

  std::unique_ptr<void, Unload> handle_;
};

#endif  // SERVICE_WORKER_PLUGIN_H_
