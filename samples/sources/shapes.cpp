// What later versions of DWARF say in their own ways: namespaces, templates, nested and unnamed
// classes, pointers to members, scoped enumerations, arrays of arrays, unions and bit fields.
#include "station.h"

extern "C" int list_length(int count);

namespace geometry {

enum class Side : unsigned char { Left, Right = 7 };

template <typename Number>
struct Point {
    Number x;
    Number y;
    Number Dot(const Point& other) const { return x * other.x + y * other.y; }
};

class Shape {
public:
    class Style {
    public:
        unsigned width : 3;
        unsigned dashed : 1;
        signed shade : 6;
        Side side;
    };

    explicit Shape(int id)
        : m_id(id)
    {
    }
    virtual int Area() const = 0;
    int Id() const { return m_id; }

    Style style = {1, 0, -3, Side::Right};

protected:
    int m_id;
    static int s_drawn;
};

int Shape::s_drawn = 4;

namespace {
class Hidden {
public:
    int depth = 2;
    int Deeper(int by) const { return depth + by; }
};
} // namespace

namespace detail {
template <typename Number, int N>
class Polygon : public Shape {
public:
    explicit Polygon(int id)
        : Shape(id)
    {
    }
    int Area() const override;
    Point<Number> corners[N];
};

template <typename Number, int N>
int Polygon<Number, N>::Area() const
{
    Number sum = 0;
    for (int i = 0; i < N; ++i) {
        const Point<Number>& next = corners[(i + 1) % N];
        sum += corners[i].x * next.y - next.x * corners[i].y;
    }
    return static_cast<int>(sum) + s_drawn;
}
} // namespace detail

} // namespace geometry

using Triangle = geometry::detail::Polygon<short, 3>;
using Square = geometry::detail::Polygon<int, 4>;

union Cell {
    int whole;
    unsigned char bytes[4];
    struct {
        short low;
        short high;
    } halves;
};

struct {
    int rows;
    Cell cells[2][3];
} g_grid = {2, {}};

int Cell::*g_whole = &Cell::whole;
int (geometry::Shape::*g_area)() const = &geometry::Shape::Area;
geometry::Side g_side = geometry::Side::Left;

// Nothing calls it, so the linker may drop it.
int shapes_unused(int value)
{
    int twice = value * 2;
    return twice + g_grid.rows;
}

template <typename Kind>
static int Measure(const Kind& shape, int factor)
{
    const geometry::Shape& base = shape;
    int area = (base.*g_area)();
    {
        int scaled = scale(area, factor);
        area += scaled;
    }
    return area;
}

extern "C" void _start()
{
    using namespace geometry;
    Triangle triangle(1);
    Square square(2);
    const Hidden hidden;
    for (int i = 0; i < 3; ++i) {
        triangle.corners[i] = {static_cast<short>(i), static_cast<short>(i * i)};
        square.corners[i] = {i, 3 - i};
    }
    square.corners[3] = square.corners[0];
    for (int row = 0; row < 2; ++row)
        for (int column = 0; column < 3; ++column)
            g_grid.cells[row][column].*g_whole = hidden.Deeper(row * column);
    g_side = triangle.style.side;
    g_grid.rows = Measure(triangle, 3) + Measure(square, list_length(5));
    for (;;)
        ;
}

extern "C" void __cxa_pure_virtual()
{
    for (;;)
        ;
}
