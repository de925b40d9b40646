// Functions that the C library keeps in several versions, of which the older may take other arguments. A stand-in
// without a version would take the place of all.
#pragma once

// Shows programs a function as NAME@VERSION, or as NAME@@VERSION, which is what they are linked with today. All
// versions are listed in cmake/simulator.map.
#define SIM_VERSION(function, versioned) __asm__(".symver " #function ", " versioned ", remove");

// Since when a function may be there in the form that it has today.
#if defined(__x86_64__)
#define SIM_SINCE(x86_version) x86_version
#else
#define SIM_SINCE(x86_version) "GLIBC_2.17"
#endif
