// VANTOR_APART: marks a function that a fast path leaves the rest to, so that the fast path stays as short as it reads.
// Compilers like to take such a function back in, and the fast path then saves the registers that only the rest needs.
// VANTOR_COLD: the same for what hardly ever happens.
//   VANTOR_APART bool Enlarge(int size);
//   inline bool HasRoom(int size, int room) { return size <= room || Enlarge(size); }
#pragma once

#if defined(__GNUC__)
#define VANTOR_APART [[gnu::noinline]]
#define VANTOR_COLD [[gnu::noinline, gnu::cold]]
#else
#define VANTOR_APART
#define VANTOR_COLD
#endif
