#ifndef SERVICE_WORKER_LIBRARY_SESSION_H_
#define SERVICE_WORKER_LIBRARY_SESSION_H_

#include "common/outcome.h"
#include "library/library.h"
#include "worker/log_capture.h"
#include "worker/plugin.h"

// A library opened for work in this process: its database is there, complete and with its defaults, and the
// plug-in's short operations on it share one lent connection until the object ends. PLUGIN outlives it.
class LibrarySession {
 public:
  static Outcome<LibrarySession> Open(const Plugin& plugin, LogCapture& log, const Library& library);
  ~LibrarySession();
  LibrarySession(LibrarySession&& other) noexcept : plugin_(other.plugin_) { other.plugin_ = nullptr; }
  LibrarySession& operator=(LibrarySession&&) = delete;

 private:
  explicit LibrarySession(const Plugin& plugin) : plugin_(&plugin) {}

  const Plugin* plugin_;
};

#endif  // SERVICE_WORKER_LIBRARY_SESSION_H_
