#pragma once
// Marks a function whose loops are compiled three times: for processors with
// 512-bit vectors, with 256-bit ones, and for any x86-64; the program picks
// one when it starts. The copies give the same bits, operation for operation,
// since the build never fuses a multiply and an add.
#if defined(__x86_64__) && defined(__GNUC__)
#define VECTOR_CLONES __attribute__((target_clones("arch=x86-64-v4", "avx2", "default")))
#else
#define VECTOR_CLONES
#endif
