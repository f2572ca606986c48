// Classes: single, multiple and virtual inheritance, static members, methods out of line, a local
// class, a lambda, references and pointers to members.
#include "station.h"

class Device {
public:
    explicit Device(int id)
        : m_id(id)
    {
        ++s_count;
    }
    virtual int Read(int amount) = 0;
    int Id() const { return m_id; }
    static int Count();

protected:
    int m_id;
    static int s_count;
    static const int kLimit = 50;
};

int Device::s_count;

int Device::Count()
{
    return s_count;
}

struct Calibrated {
    int gain = 2;
    mutable bool used = false;
    int Apply(int value) const
    {
        used = true;
        return value * gain;
    }
};

class Thermometer : public Device, private Calibrated {
public:
    explicit Thermometer(int id);
    int Read(int amount) override;
    enum class Unit : signed char { Celsius = -1, Kelvin = 1 };
    Unit unit = Unit::Celsius;
};

Thermometer::Thermometer(int id)
    : Device(id)
{
}

int Thermometer::Read(int amount)
{
    return Apply(amount) > kLimit ? kLimit : Apply(amount);
}

struct Clocked {
    stamp_t time = 0;
};
struct Logged : virtual Clocked {
    int lines = 1;
};
struct Timed : virtual Clocked {
    int period = 10;
};
struct Recorder : Logged, Timed {
    stamp_t Advance(int by)
    {
        time += static_cast<stamp_t>(by + period);
        return time;
    }
};

template <typename Value, int N>
struct Ring {
    Value values[N];
    int at;
    Value& Next() { return values[at = at + 1 < N ? at + 1 : 0]; }
};

static Ring<short, 4> g_ring;
static int Device::*const g_unused = nullptr;
int (Thermometer::*g_read)(int) = &Thermometer::Read;

template <typename Function>
static int Twice(const Function& function, int& value)
{
    value = function(value);
    return function(value);
}

extern "C" int device_update(int amount)
{
    struct Step {
        int width;
        int Wide() const { return width << 1; }
    };
    Thermometer thermometer(3);
    Recorder recorder;
    const Step step = {amount & 3};
    auto grow = [&step, amount](int value) { return value + step.Wide() + amount; };
    int&& value = thermometer.Read(amount);
    Device& device = thermometer;
    g_ring.Next() = static_cast<short>(Twice(grow, value));
    return device.Read(value) + static_cast<int>(recorder.Advance(Device::Count())) + (g_unused ? 1 : 0) +
           (thermometer.*g_read)(1);
}
