#ifndef SERVICE_WATCH_RUN_ORDER_H_
#define SERVICE_WATCH_RUN_ORDER_H_

// Which runs of one process may begin while others are under way. One that begins within another's turn of
// the loop ends before that one can: a short run must not wait for one over a whole library. Used by one
// thread.
class RunOrder {
 public:
  bool MayBegin(bool whole) const { return !whole || parts_ == 0; }

  // A run, as long as it lives.
  class Running {
   public:
    Running(RunOrder& order, bool whole) : order_(order), part_(whole ? 0 : 1) { order_.parts_ += part_; }
    ~Running() { order_.parts_ -= part_; }
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

   private:
    RunOrder& order_;
    int part_;
  };

 private:
  int parts_ = 0;  // under way: runs over parts of libraries
};

#endif  // SERVICE_WATCH_RUN_ORDER_H_
