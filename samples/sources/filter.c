/* Loops, inlined functions and values that move between registers: location lists at -O2. */
#include "station.h"

static int calls;

static inline int clamp(int value, int low, int high)
{
    if (value < low)
        return low;
    if (value > high)
        return high;
    return value;
}

static inline int blend(int old, int fresh)
{
    int mixed = clamp(old, -100, 100) * 3 + fresh;
    return clamp(mixed, -1000, 1000) >> 2;
}

int filter_mean(const struct reading *reading, int previous)
{
    int sum = previous;
    for (int i = 0; i < HISTORY; ++i)
        sum += reading[i].whole;
    ++calls;
    return scale(sum, 4);
}

int filter_limit(const struct reading *reading, int previous)
{
    ++calls;
    return blend(previous, reading->whole);
}

int filter_run(struct channel *channel, int rounds)
{
    int result = 0;
    register int step = 1;
    for (; rounds > 0; --rounds) {
        int before = result;
        result = blend(result, channel->filter(channel->history, step));
        if (result == before) {
            const volatile word_t *control = channel->control;
            step += (int)(*control & 3u) + 1;
        }
    }
    return result;
}
