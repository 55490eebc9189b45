#pragma once

#include "quillcast-core/Handle.h"

#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <pybind11/pybind11.h>
#include <stdexcept>
#include <string>
#include <utility>

/// How the module calls the library: without the interpreter's lock, with messages handed on to Python's
/// logging when a call returns, and failures as exceptions that tell the library's reason.
namespace Vexalor::Python
{

namespace py = pybind11;

/// Becomes vexalor_ml.Error.
class Failure : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// What the module needs of Python's own modules. Looked up once, while it is loaded: a lookup lets other
/// threads run, which would wait for a static variable with the interpreter's lock in their hands. Never
/// given back, since an interpreter that has ended takes nothing.
struct Imports
{
    py::handle m_error;         ///< vexalor_ml.Error
    py::handle m_getLogger;     ///< of logging
    py::handle m_libraryLogger; ///< the one above all of the library
    py::handle m_batch;         ///< vexalor_ml.Batch, and so on
    py::handle m_pattern;
    py::handle m_annotation;
    py::handle m_annotationOrder; ///< that of time
    py::handle m_results;
};
const Imports& imports();

/// Messages wait in a queue from now on, and the back end has no threads. Defines vexalor_ml.Error.
void setUpLibrary(py::module_& io_module);

/// Of the logger "quillcast" in Python: messages below it are not made.
void takeLogLevel();
/// What this thread has logged goes to the loggers of the same names in Python.
void handMessagesOn();
/// The same but for the message that tells why the call failed, which is the exception, or the other text
/// when there is none.
[[noreturn]] void fail(const std::string& in_strOtherwise);
/// The reason that fail would throw, with all other messages handed on.
std::string takeReason(const std::string& in_strOtherwise);

/// Throws what a handler of a signal, such as that of Ctrl-C, has raised. Takes the lock, whoever has it. At
/// the end of the interpreter, a thread that it does not wait for stays here.
void checkSignals();

/// A thread in the module. At its end the interpreter ends threads that it does not wait for as soon as they
/// ask for its lock, wherever that is, and objects of Python would be given back without it. So threads leave
/// the module before: those that would enter or look for signals stay where they are, for ever.
class Inside
{
public:
    Inside();
    ~Inside();
    Inside(const Inside&) = delete;
    Inside& operator=(const Inside&) = delete;
};
/// From Python's atexit: waits until no other thread is in the module, but not for long.
void endModule();

/// How often the process was forked, down from the one that has loaded the module.
unsigned int getForkCount();

/// Takes the lock again; stays as checkSignals does.
void retakeLock(PyThreadState* io_pState);

/// Runs it without the lock.
template <class Work>
auto unlocked(const Work& in_work)
{
    std::optional<decltype(in_work())> result;
    std::exception_ptr pException;
    PyThreadState* const pState = PyEval_SaveThread();
    try
    {
        result.emplace(in_work());
    }
    catch (abi::__forced_unwind&)
    {
        throw; // the thread is being ended
    }
    catch (...)
    {
        pException = std::current_exception();
    }
    retakeLock(pState);
    if (pException)
        std::rethrow_exception(pException);
    return std::move(*result);
}

inline bool isGood(bool in_bResult)
{
    return in_bResult;
}

template <class T, class Count>
bool isGood(const Handle<T, Count>& in_handle)
{
    return !in_handle.isNull();
}

template <class T>
bool isGood(const std::unique_ptr<T>& in_pObject)
{
    return in_pObject != nullptr;
}

/// Throws the exception that is being handled, as a Failure unless Python knows it: what was called back has
/// raised it, or memory has run out.
[[noreturn]] void rethrowAsPython();

/// While it lives, the library works on an object without the interpreter's lock: no other thread may, nor
/// what is called back.
class Exclusive
{
public:
    /// Throws a Failure when another one lives.
    explicit Exclusive(bool& io_bUsed);
    ~Exclusive() { m_bUsed = false; }
    Exclusive(const Exclusive&) = delete;
    Exclusive& operator=(const Exclusive&) = delete;

private:
    Inside m_inside;
    bool& m_bUsed;
};

/// Calls the library, and leaves messages where they are.
template <class Work>
auto callQuietly(const Work& in_work)
{
    takeLogLevel();
    try
    {
        return unlocked(in_work);
    }
    catch (...)
    {
        handMessagesOn();
        rethrowAsPython();
    }
}

/// Calls the library.
template <class Work>
auto call(const Work& in_work)
{
    auto result = callQuietly(in_work);
    handMessagesOn();
    return result;
}

/// Calls the library, and throws its reason when the result is false or null.
template <class Work>
auto require(const Work& in_work, const char* in_otherwise)
{
    auto result = callQuietly(in_work);
    if (!isGood(result))
        fail(in_otherwise);
    handMessagesOn();
    return result;
}

} // namespace Vexalor::Python
