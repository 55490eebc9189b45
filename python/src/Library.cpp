#include "Library.h"

#include "quillcast-core/LogQueue.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <atomic>
#include <pthread.h>
#include <thread>
#include <unistd.h>

namespace Vexalor::Python
{

namespace
{

/// The logger whose level holds for all below it.
constexpr const char* ROOT_LOGGER = "quillcast";
/// Levels of the library are those of Python times this.
constexpr int LEVEL_FACTOR = 1000;
/// Python has none below it that means anything: TRACE is less than DEBUG, and 0 means "not set".
constexpr int TRACE_LEVEL = 5;

std::atomic<unsigned int> s_uiForks{0};

/// Longest wait for threads at the end, ms: one may wait for a file.
constexpr int LONGEST_WAIT = 2000;

std::atomic<bool> s_bEnding{false};
std::thread::id s_endingThread;
std::atomic<int> s_iInside{0};     ///< of all threads
thread_local int s_iOwnInside = 0; ///< of this one

/// Where a thread stays that the end of the interpreter does not wait for.
void stayIfEnding()
{
    if (!s_bEnding || std::this_thread::get_id() == s_endingThread)
        return;
    s_iInside -= s_iOwnInside;
    if (PyGILState_Check() != 0)
        PyEval_SaveThread();
    while (true)
        pause();
}

void noteFork()
{
    ++s_uiForks;
    s_iInside = s_iOwnInside; // the other threads are those of the parent
}

Imports& changeableImports()
{
    static Imports s_imports;
    return s_imports;
}

py::handle lookUp(const char* in_module, const char* in_name)
{
    return py::object(py::module_::import(in_module).attr(in_name)).release();
}

py::object decode(const std::string& in_strText)
{
    // Texts of files are bytes of any encoding.
    return py::reinterpret_steal<py::object>(
        PyUnicode_DecodeUTF8(in_strText.data(), static_cast<Py_ssize_t>(in_strText.size()), "replace"));
}

void handOn(const LogQueue::Message& in_message)
{
    const int iLevel = std::max(static_cast<int>(in_message.m_level) / LEVEL_FACTOR, TRACE_LEVEL);
    imports().m_getLogger(in_message.m_strLogger).attr("log")(iLevel, "%s", decode(in_message.m_strText));
}

void tellDropped(std::uint64_t in_uiDropped)
{
    if (in_uiDropped != 0)
        handOn({LogLevel::WARN, ROOT_LOGGER, std::to_string(in_uiDropped) + " messages of one call left out",
                "", 0});
}

} // namespace

void setUpLibrary(py::module_& io_module)
{
    LogQueue::install();
    // The interpreter ends before the static objects do: nobody takes messages in between.
    Py_AtExit([] { Logger::setLevel("", LogLevel::OFF); });
    pthread_atfork(nullptr, nullptr, &noteFork);
    py::module_::import("atexit").attr("register")(py::cpp_function(&endModule));
    Imports& found = changeableImports();
    found.m_error = PyErr_NewExceptionWithDoc("vexalor_ml.Error",
                                              "What the library refused or failed to do, with its reason.",
                                              PyExc_RuntimeError, nullptr);
    found.m_getLogger = lookUp("logging", "getLogger");
    found.m_libraryLogger = found.m_getLogger(ROOT_LOGGER).release();
    found.m_batch = lookUp("vexalor_ml._types", "Batch");
    found.m_pattern = lookUp("vexalor_ml._types", "Pattern");
    found.m_annotation = lookUp("vexalor_ml._types", "Annotation");
    found.m_annotationOrder = lookUp("vexalor_ml._types", "annotation_order");
    found.m_results = lookUp("vexalor_ml._types", "Results");
    io_module.attr("Error") = found.m_error;
    py::register_exception_translator(
        [](std::exception_ptr in_pException)
        {
            try
            {
                if (in_pException)
                    std::rethrow_exception(in_pException);
            }
            catch (const Failure& failure)
            {
                PyErr_SetObject(imports().m_error.ptr(), decode(failure.what()).ptr());
            }
            catch (const py::cast_error&)
            {
                PyErr_SetString(PyExc_TypeError,
                                "what was given holds a thing of another type than it should");
            }
        });
}

const Imports& imports()
{
    return changeableImports();
}

void takeLogLevel()
{
    static int s_iEarlier = -1; // the interpreter's lock guards it
    const int iLevel = imports().m_libraryLogger.attr("getEffectiveLevel")().cast<int>();
    if (iLevel == std::exchange(s_iEarlier, iLevel))
        return;
    Logger::setLevel("",
                     static_cast<LogLevel>(iLevel <= TRACE_LEVEL ? 0 : std::min(iLevel, 60) * LEVEL_FACTOR));
}

void handMessagesOn()
{
    for (const LogQueue::Message& message : LogQueue::take())
        handOn(message);
    tellDropped(LogQueue::takeNbDropped());
}

std::string takeReason(const std::string& in_strOtherwise)
{
    const std::vector<LogQueue::Message> vMessages = LogQueue::take();
    const std::size_t uiReason = LogQueue::findReason(vMessages);
    for (std::size_t i = 0; i < vMessages.size(); ++i)
        if (i != uiReason)
            handOn(vMessages[i]);
    tellDropped(LogQueue::takeNbDropped());
    return uiReason < vMessages.size() ? vMessages[uiReason].m_strText : in_strOtherwise;
}

void fail(const std::string& in_strOtherwise)
{
    throw Failure(takeReason(in_strOtherwise));
}

void rethrowAsPython()
{
    try
    {
        throw;
    }
    catch (const py::error_already_set&)
    {
        throw;
    }
    catch (const py::builtin_exception&)
    {
        throw;
    }
    catch (const std::bad_alloc&)
    {
        throw;
    }
    catch (const std::exception& exception)
    {
        throw Failure(exception.what());
    }
}

Exclusive::Exclusive(bool& io_bUsed)
    : m_bUsed(io_bUsed)
{
    if (m_bUsed)
        throw Failure("in use already, by another thread or by what calls this");
    m_bUsed = true;
}

void checkSignals()
{
    stayIfEnding();
    const py::gil_scoped_acquire lock;
    if (PyErr_CheckSignals() != 0)
        throw py::error_already_set();
}

Inside::Inside()
{
    stayIfEnding();
    ++s_iInside;
    ++s_iOwnInside;
}

Inside::~Inside()
{
    --s_iInside;
    --s_iOwnInside;
}

void endModule()
{
    s_endingThread = std::this_thread::get_id();
    s_bEnding = true;
    const py::gil_scoped_release release;
    for (int i = 0; i < LONGEST_WAIT && s_iInside > s_iOwnInside; ++i)
        usleep(1000);
}

unsigned int getForkCount()
{
    return s_uiForks;
}

void retakeLock(PyThreadState* io_pState)
{
    stayIfEnding();
    PyEval_RestoreThread(io_pState);
}

} // namespace Vexalor::Python
