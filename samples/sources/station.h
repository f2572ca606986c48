/* What the parts of the sample programme share: a weather station that keeps readings. */
#ifndef STATION_H
#define STATION_H

#ifdef __cplusplus
extern "C" {
#endif

#define CHANNELS 3
#define HISTORY 4
#define SQUARE(x) ((x) * (x))

typedef unsigned char byte_t;
typedef unsigned short half_t;
typedef unsigned int word_t;
typedef word_t tick_t;
typedef tick_t stamp_t; /* a typedef of a typedef of a typedef */

enum level { LEVEL_FROZEN = -40, LEVEL_COLD = -1, LEVEL_MILD, LEVEL_WARM = 25, LEVEL_HOT };

/* Bit fields of several base types, one of them without a name. */
struct flags {
    unsigned valid : 1;
    unsigned channel : 3;
    signed offset : 5;
    unsigned : 7;
    byte_t quality : 4;
    half_t sequence : 10;
    long long large : 33;
};

struct reading {
    stamp_t time;
    enum level level;
    struct flags flags;
    union {
        int whole;
        float fraction;
        struct {
            half_t low;
            half_t high;
        }; /* anonymous in anonymous */
    };
    union raw {
        byte_t bytes[4];
        word_t word;
    } raw;
    struct reading* next;
};

typedef int (*filter_t)(const struct reading* reading, int previous);

struct channel {
    const char* const name;
    filter_t filter;
    volatile word_t* control;
    struct reading history[HISTORY];
    int table[2][3][4];
};

extern struct channel channels[CHANNELS];
extern volatile const word_t clock_register;
extern int report_count;

int filter_mean(const struct reading* reading, int previous);
int filter_limit(const struct reading* reading, int previous);
int filter_run(struct channel* channel, int rounds);
int device_update(int amount);
int station_main(int argc, char** argv);

static inline int scale(int value, int factor)
{
    int scaled = value * factor;
    return scaled >> 4;
}

#ifdef __cplusplus
}
#endif
#endif
