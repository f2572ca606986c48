/* Types that lead back to themselves, a variable-length loop, and a table of two dimensions. */
typedef struct node node_t;
struct node {
    node_t *next;
    node_t *(*make)(node_t *before, int value);
    int value;
};

typedef struct tree {
    struct tree *children[2];
    const struct tree *parent;
    node_t list;
} tree_t;

static node_t nodes[8];
static short weights[2][3] = {{1, 2, 3}, {4, 5, 6}};
tree_t list_tree;

static node_t *Make(node_t *before, int value)
{
    node_t *made = &nodes[value & 7];
    made->next = before;
    made->make = Make;
    made->value = value * weights[value & 1][1];
    return made;
}

int list_length(int count)
{
    node_t *head = 0;
    int length = 0;
    for (int i = 0; i < count; ++i)
        head = Make(head, i);
    list_tree.parent = &list_tree;
    list_tree.list = *head;
    for (const node_t *node = head; node; node = node->next)
        length += node->value;
    return length;
}

/* Nothing calls it. */
int list_unused(int value)
{
    return value + weights[0][2];
}

void *memcpy(void *to, const void *from, unsigned count)
{
    char *t = to;
    const char *f = from;
    while (count--)
        *t++ = *f++;
    return to;
}

void *memset(void *to, int value, unsigned count)
{
    char *t = to;
    while (count--)
        *t++ = (char)value;
    return to;
}
