#ifndef SERVICE_WATCH_LINE_OUTPUT_H_
#define SERVICE_WATCH_LINE_OUTPUT_H_

#include <string>

#include "common/event_loop.h"
#include "common/unwaiting_output.h"

// Lines for somebody who may not read them: what is not taken waits, up to a bound, and nobody waits for it
// but a moment at the end. To be used in the loop's thread.
class LineOutput : private EventHandler {
 public:
  // DESCRIPTOR and LOOP outlive it.
  LineOutput(int descriptor, EventLoop& loop);
  ~LineOutput() override;
  LineOutput(const LineOutput&) = delete;
  LineOutput& operator=(const LineOutput&) = delete;

  // TEXT ends in a line end; it is dropped where too much waits already.
  void Put(const std::string& text);

 private:
  Awaited Awaits() const override { return {waiting_.empty() ? -1 : descriptor_, true, std::nullopt}; }
  void Serve() override;

  int descriptor_;
  EventLoop& loop_;
  UnwaitingOutput output_;
  std::string waiting_;
};

#endif  // SERVICE_WATCH_LINE_OUTPUT_H_
