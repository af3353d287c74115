#ifndef TESTS_SUPPORT_SCALED_H_
#define TESTS_SUPPORT_SCALED_H_

// How often something is tried that one try alone would not show. Programs that are built for another
// processor are emulated, where everything takes some ten times as long: EMULATED is then enough.
#ifdef LUMIVAULT_EMULATED
constexpr int Scaled(int /*natively*/, int emulated) {
  return emulated;
}
#else
constexpr int Scaled(int natively, int /*emulated*/) {
  return natively;
}
#endif

#endif  // TESTS_SUPPORT_SCALED_H_
