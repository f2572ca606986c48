/* A position-independent library: code relative to the program counter, data relative to r9. */
typedef struct {
    unsigned long calls;
    int last;
} usage_t;

static usage_t usage;
int library_limit = 12;

static int Bounded(int value)
{
    return value > library_limit ? library_limit : value;
}

int LibraryAdd(int a, int b)
{
    int sum = Bounded(a) + Bounded(b);
    usage.calls++;
    usage.last = sum;
    return sum;
}

unsigned long LibraryCalls(void)
{
    return usage.calls;
}
