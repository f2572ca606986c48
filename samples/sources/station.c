/* Records, static and external data, and names that hide each other. */
#include "station.h"

#define LIMIT SQUARE(6)
#undef LIMIT
#define LIMIT 30

volatile const word_t clock_register = 0x1234;
int report_count;
static int last_total = -7;
static const byte_t weights[CHANNELS][2] = {{1, 2}, {3, 4}, {5, 6}};
static volatile word_t control_words[CHANNELS];

struct channel channels[CHANNELS] = {
    {"temperature", filter_mean, &control_words[0], {{0}}, {{{0}}}},
    {"pressure", filter_limit, &control_words[1], {{0}}, {{{0}}}},
    {"humidity", 0, &control_words[2], {{0}}, {{{0}}}},
};

/* A type that reaches itself through pointers and functions. */
struct node {
    struct node *left, *right;
    struct node *(*visit)(struct node *self, void (*action)(struct node *));
    int value;
};

static struct node leaf = {0, 0, 0, 3};
struct node root = {&leaf, 0, 0, 1};

static int sum_nodes(const struct node *node)
{
    return node ? node->value + sum_nodes(node->left) + sum_nodes(node->right) : 0;
}

static enum level classify(int value)
{
    switch (value) {
    case -40:
        return LEVEL_FROZEN;
    case 0:
        return LEVEL_MILD;
    default:
        break;
    }
    if (value < 0)
        return LEVEL_COLD;
    return value > LIMIT ? LEVEL_HOT : LEVEL_WARM;
}

/* Three variables of one name, in three blocks. */
static int shadows(int value)
{
    int total = value;
    for (int i = 0; i < CHANNELS; ++i) {
        int value = weights[i][i & 1];
        total += value;
        if (total > LIMIT) {
            short value = (short)(total - LIMIT);
            static int overflows = 0;
            overflows += value;
            total -= overflows;
        }
    }
    return total;
}

static void record(struct channel *channel, int slot, int value)
{
    struct reading *reading = &channel->history[slot & (HISTORY - 1)];
    reading->time = clock_register;
    reading->level = classify(value);
    reading->flags.valid = 1;
    reading->flags.offset = value & 7;
    reading->flags.large = value;
    reading->whole = value;
    reading->raw.word = (word_t)value;
    channel->table[1][2][slot & 3] = value;
}

int station_main(int argc, char **argv)
{
    int total = sum_nodes(&root);
    for (int i = 0; i < CHANNELS; ++i) {
        struct channel *channel = &channels[i];
        record(channel, i, scale(total, argc + i));
        if (channel->filter) {
            int total = channel->filter(channel->history, i);
            report_count += total;
        }
    }
    total += shadows(total) + filter_run(&channels[0], 3) + device_update(total);
    last_total = argv ? total : last_total;
    return total;
}
