#ifndef trelInlining_h
#define trelInlining_h

/**
 * @file trelInlining.h
 * How the packet loop is laid out in machine code. Of no consequence to results.
 */

/** TREL_RARE marks what few steps do, so that the others do not pay for its registers, and
 * TREL_FLAT the loop into which all the rest is to be inlined. */
#if defined(__GNUC__)
#define TREL_RARE __attribute__((noinline))
#define TREL_FLAT __attribute__((flatten))
#else
#define TREL_RARE
#define TREL_FLAT
#endif

/** Marks the loop over steps, of which there are two forms: one that every x86-64 processor runs,
 * and one with the three-operand instructions of the newer, which moves fewer registers about. The
 * program takes the one that fits when it starts. Both round alike, since products and sums are
 * never fused. */
#if defined(__GNUC__) && !defined(__clang__) && defined(__gnu_linux__) && defined(__x86_64__) && \
    defined(__OPTIMIZE__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#define TREL_CLONED __attribute__((target_clones("avx2", "default")))
#else
#define TREL_CLONED
#endif

#endif
