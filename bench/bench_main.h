#ifndef BENCH_BENCH_MAIN_H_
#define BENCH_BENCH_MAIN_H_

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>

// The main function of a benchmark NAME PHOTO_FOLDER [COUNT]: runs BENCH(folder, count), 2,000 photos unless
// told otherwise. Its exit status: 1 when that throws, 2 for wrong usage.
template <typename Bench>
int BenchMain(const char* name, int argc, char** argv, Bench bench) {
  constexpr std::size_t kDefaultCount = 2'000;
  if (argc < 2) {
    std::fprintf(stderr, "usage: %s PHOTO_FOLDER [COUNT]\n", name);
    return 2;
  }
  try {
    bench(std::filesystem::path(argv[1]), argc > 2 ? std::strtoul(argv[2], nullptr, 10) : kDefaultCount);
    return 0;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", name, error.what());
    return 1;
  }
}

#endif  // BENCH_BENCH_MAIN_H_
