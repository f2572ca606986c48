/* The entry point. Nothing is linked from outside, so what compilers call by themselves is here. */
#include "station.h"

void *memcpy(void *to, const void *from, word_t count)
{
    byte_t *t = to;
    const byte_t *f = from;
    while (count--)
        *t++ = *f++;
    return to;
}

void *memset(void *to, int value, word_t count)
{
    byte_t *t = to;
    while (count--)
        *t++ = (byte_t)value;
    return to;
}

void __cxa_pure_virtual(void)
{
    for (;;)
        ;
}

void _start(void)
{
    for (;;)
        station_main(1, 0);
}
