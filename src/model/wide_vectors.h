// Wider vector registers for the block loops where the processor has them.
//
// The hot loops of the block evaluation and of FIT's least squares are
// compiled twice: for the baseline instruction set (two doubles a vector
// register on x86-64) and, on x86-64 with g++ or clang, for AVX2 (four),
// chosen when the program runs. Both do the same operations on each element
// (no fused multiply-add: every file involved is built with
// -ffp-contract=off, and AVX2 alone has none), so they give the same
// results to the last bit; only the speed differs. A body is written once
// as an always-inline function, and each variant is a thin function
// compiled with its own target that inlines it.
#pragma once

#if defined(__GNUC__) && defined(__x86_64__)
#define ZENFIT_WIDE_VECTORS 1
#define ZENFIT_WIDE_TARGET __attribute__((target("avx2")))
#else
#define ZENFIT_WIDE_VECTORS 0
#define ZENFIT_WIDE_TARGET
#endif

#if defined(__GNUC__)
#define ZENFIT_ALWAYS_INLINE inline __attribute__((always_inline))
#else
#define ZENFIT_ALWAYS_INLINE inline
#endif

namespace zenfit {

// True when this processor runs the AVX2 variants.
inline bool wideVectorsAvailable() {
#if ZENFIT_WIDE_VECTORS
  return __builtin_cpu_supports("avx2");
#else
  return false;
#endif
}

}  // namespace zenfit
