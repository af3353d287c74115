#include "db/sqlite_refusal.h"

#include <unistd.h>

void SqliteRefusal::Note(Why why, const std::string* name, std::int64_t number) {
  if (why_ != Why::kNothing) return;
  why_ = why;
  name_ = name;
  number_ = number;
  ever_ = true;
}

std::string SqliteRefusal::Take() {
  std::string text = Text();
  why_ = Why::kNothing;
  return text;
}

std::string SqliteRefusal::Text() const {
  const std::string name = name_ != nullptr ? *name_ : "";
  switch (why_) {
    case Why::kNothing:
      return "";
    case Why::kNoFile:
      return name + " is not a regular file.";
    case Why::kTwoNames:
      return name + " has another name (a hard link); a copy has not.";
    case Why::kForeign:
      return name + " belongs to somebody who may not write the database.";
    case Why::kMorePrivate:
      return name + " is more private than the database.";
    case Why::kNotWritable:
      return name + " belongs to user " + std::to_string(number_) + "; user " + std::to_string(geteuid()) +
             " may not write it.";
    case Why::kHeld:
      return name + " is held by its owner (a lease); try again.";
    case Why::kOtherName:
      return name + " names another file; it is not ours to touch.";
    case Why::kTooMuch:
      return "It needs more than " + std::to_string(number_ >> 20) + " MiB of temporary room.";
  }
  return "";
}
