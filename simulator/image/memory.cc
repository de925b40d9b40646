// What compilers call for larger objects of their own accord, and have from the C library elsewhere.
#include <cstddef>

extern "C" void *memset(void *place, int byte, size_t size)
{
    void *end = place;
    __asm__ volatile("rep stosb" : "+D"(end), "+c"(size) : "a"(byte) : "memory");
    return place;
}

extern "C" void *memcpy(void *place, const void *from, size_t size)
{
    void *end = place;
    __asm__ volatile("rep movsb" : "+D"(end), "+S"(from), "+c"(size) : : "memory");
    return place;
}
