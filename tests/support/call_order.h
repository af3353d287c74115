// In which order the substitutes of the platform were called.
#ifndef TESTS_SUPPORT_CALL_ORDER_H_
#define TESTS_SUPPORT_CALL_ORDER_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/fake_platform.h"

// Which of PREFIXES the recorded calls begin with, in the order of the calls. One that follows itself stands
// once, so that what is asked about is the order alone.
inline std::vector<std::string> OrderOf(const std::vector<std::string>& prefixes) {
  std::vector<std::string> order;
  for (const std::string& call : FakePlatform::Get().calls) {
    for (const std::string& prefix : prefixes) {
      if (call.starts_with(prefix) && (order.empty() || order.back() != prefix)) order.push_back(prefix);
    }
  }
  return order;
}

#endif  // TESTS_SUPPORT_CALL_ORDER_H_
