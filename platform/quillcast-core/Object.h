#pragma once

#include <iosfwd>

namespace Vexalor
{

/// Root of the object model. Every interface derives from it virtually, so that a class that implements
/// several of them holds one Object. Stateless, as all virtual bases are: nobody has to name its constructor.
class Object
{
public:
    Object() = default;
    Object(const Object&) = default;
    Object& operator=(const Object&) = default;
    virtual ~Object() = default;
};

/// Something with a state that can be brought back to its beginning, such as a classifier with memory.
class Resettable : public virtual Object
{
public:
    /// Back to the initial state. False if that failed; the implementation has logged why.
    virtual bool reset() = 0;
};

/// Something that is idle until it is started.
class ObjectWithStart : public virtual Object
{
public:
    /// False if that failed; the implementation has logged why.
    virtual bool start() = 0;
    virtual bool isStarted() const = 0;
};

/// Something that can be stopped.
class ObjectWithStop : public virtual Object
{
public:
    /// False if that failed; the implementation has logged why.
    virtual bool stop() = 0;
};

/// Something that can be started and stopped, any number of times in turn.
class ObjectWithStartAndStop
    : public virtual ObjectWithStart
    , public virtual ObjectWithStop
{
};

/// Something of which a copy of the same dynamic class can be made. Implementations narrow the result type.
class Cloneable : public virtual Object
{
public:
    /// A new object, owned by the caller.
    virtual Cloneable* clone() const = 0;
};

/// Something that can write itself as text.
class OutputStreamable : public virtual Object
{
public:
    /// Writes with the stream's own formatting, adds no line end; returns out_stream.
    virtual std::ostream& write(std::ostream& out_stream) const = 0;
};

/// Something that can read itself from text.
class InputStreamable : public virtual Object
{
public:
    /// Reports a failure through the stream's fail flag; returns in_stream.
    virtual std::istream& read(std::istream& in_stream) = 0;
};

inline std::ostream& operator<<(std::ostream& out_stream, const OutputStreamable& in_object)
{
    return in_object.write(out_stream);
}

inline std::istream& operator>>(std::istream& in_stream, InputStreamable& out_object)
{
    return out_object.read(in_stream);
}

} // namespace Vexalor
