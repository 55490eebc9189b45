#include "common/Ranks.h"

#include "quillcast-core/ConsoleLog.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-infra/DynLibsLoader.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <iostream>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <unistd.h>

namespace Vexalor
{

namespace
{

constexpr std::chrono::milliseconds TICK{200};
/// Between two looks for a message: a process that waits leaves its core to others.
constexpr std::chrono::milliseconds NAP{5};
/// Looking at the clock takes as long as some patterns.
constexpr unsigned int CALLS_BETWEEN = 16;

/// By mpirun or srun. Who chooses shares has one process for each, however it was started.
bool isStartedTogether(int in_iCount, const char* const* in_arguments)
{
    const auto isOfShares = [](const char* in_argument)
    {
        const std::string_view argument = in_argument;
        return argument.starts_with("--shard") || argument.starts_with("--join");
    };
    return (std::getenv("OMPI_COMM_WORLD_SIZE") != nullptr || std::getenv("PMIX_RANK") != nullptr) &&
           std::none_of(in_arguments, in_arguments + in_iCount, isOfShares);
}

/// Each process of a command that goes wrong in all of them would tell that.
bool isToldFirst()
{
    const char* rank = std::getenv("PMIX_RANK");
    return rank == nullptr || std::strcmp(rank, "0") == 0;
}

/// What mpirun writes to standard error ends up on its own.
void findTerminal()
{
    const std::string strOfParent = "/proc/" + std::to_string(getppid()) + "/fd/2";
    const int iDescriptor = open(strOfParent.c_str(), O_WRONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (iDescriptor >= 0 && isatty(iDescriptor) != 0)
        Progress::setTerminal(iDescriptor);
    else if (iDescriptor >= 0)
        close(iDescriptor);
}

void silenceStandardOutput()
{
    const int iNothing = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (iNothing >= 0)
    {
        dup2(iNothing, STDOUT_FILENO);
        close(iNothing);
    }
}

void nap()
{
    std::this_thread::sleep_for(NAP);
}

} // namespace

struct Ranks::Message
{
    enum class Kind : std::uint8_t
    {
        TASK, ///< from rank 0, as the last one
        PROGRESS,
        FOUND,
        FAILED,
        END
    };

    Kind m_kind = Kind::END;
    std::uint64_t m_uiNumber = 0; ///< of a task: the job; of progress: patterns
    double m_dShareRead = 0.0;
    bool m_bWatched = false;
    std::string m_strText; ///< a task, what was found, or why it was not

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_kind, io_self.m_uiNumber, io_self.m_dShareRead, io_self.m_bWatched,
                 io_self.m_strText);
    }
};

Ranks::Ranks(const char* in_program, int in_iCount, const char* const* in_arguments)
    : m_program(in_program)
{
    if (!isStartedTogether(in_iCount, in_arguments))
        return;
    try
    {
        findOthers();
    }
    catch (const std::exception& exception)
    {
        m_strFault = exception.what();
    }
}

Ranks::~Ranks() = default;

void Ranks::findOthers()
{
    const auto newTransport = reinterpret_cast<NewRankTransport>(
        DynLibsLoader::findOwnFunction(RANK_LIBRARY, RANK_FUNCTION, m_strFault));
    if (newTransport == nullptr)
        return;
    m_pTransport.reset(newTransport());
    m_iRank = m_pTransport->getRank();
    m_iSize = m_pTransport->getSize();
    m_vPeers.resize(static_cast<std::size_t>(m_iSize));
    FileReplacer::removeAbandoned();
    if (isFirst())
        findTerminal();
    else
        silenceStandardOutput();
}

bool Ranks::begin(int& out_iStatus)
{
    if (!m_strFault.empty())
    {
        if (isToldFirst())
            std::cerr << "ERROR: " << m_program
                      << ": started together with others, which it cannot reach: " << m_strFault << std::endl;
        out_iStatus = 1;
        return false;
    }
    if (!areTogether() || isFirst())
        return true;
    Message message;
    int iFrom = 0;
    while (!receive(iFrom, message))
        nap();
    m_strTask = std::move(message.m_strText);
    m_uiJob = message.m_uiNumber;
    m_bWatched = message.m_bWatched;
    m_bReleased = message.m_kind == Message::Kind::END;
    out_iStatus = 0;
    return !m_bReleased;
}

int Ranks::finish(int in_iStatus)
{
    if (!areTogether())
        return in_iStatus;
    if (isFirst())
        return endAll(in_iStatus);
    if (!m_bReleased)
    {
        Message failed;
        failed.m_kind = Message::Kind::FAILED;
        failed.m_strText = "on " + m_pTransport->getHost() + ", failed: " + getCause();
        send(0, failed);
        waitForEnd();
    }
    return 0; // rank 0 has the status of all
}

/// Rank 0 puts the name of the program before it.
std::string Ranks::getCause() const
{
    const std::string strCause = ConsoleLog::getCause();
    const std::string strOwn = std::string(m_program) + ": ";
    if (strCause.empty())
        return "it has ended before its work";
    return strCause.starts_with(strOwn) ? strCause.substr(strOwn.size()) : strCause;
}

/// Those that are at work are not waited for.
int Ranks::endAll(int in_iStatus)
{
    const bool bAllEnded = std::all_of(m_vPeers.begin() + 1, m_vPeers.end(),
                                       [](const Peer& in_peer) { return in_peer.m_bEnded; });
    std::cout.flush();
    if (m_bDealt && !bAllEnded)
        m_pTransport->abort(in_iStatus == 0 ? 1 : in_iStatus);
    for (int iTo = 1; iTo < m_iSize; ++iTo)
        send(iTo, Message());
    while (!m_pTransport->isAllSent())
        nap();
    return in_iStatus;
}

void Ranks::send(int in_iTo, const Message& in_message)
{
    ByteWriter bytes;
    bytes(in_message);
    m_pTransport->send(in_iTo, bytes.getBytes());
}

bool Ranks::receive(int& out_iFrom, Message& out_message)
{
    std::string strBytes;
    if (!m_pTransport->receive(out_iFrom, strBytes))
        return false;
    ByteReader reader(strBytes);
    reader(out_message);
    if (!reader.isAtEnd())
        throw std::runtime_error("rank " + std::to_string(out_iFrom) + " is another version of the program");
    return true;
}

void Ranks::waitForEnd()
{
    Message message;
    int iFrom = 0;
    while (!receive(iFrom, message))
        nap();
    m_bReleased = true;
}

void Ranks::setJob(const JobDigest& in_job)
{
    if (isFirst())
        m_uiJob = in_job.get();
    else if (m_uiJob != in_job.get())
        throw std::runtime_error("configuration, network or scripts are others here than those of rank 0" +
                                 (in_job.getFault().empty() ? "" : ": " + in_job.getFault()));
}

void Ranks::deal(std::vector<std::string> in_vTasks)
{
    m_progress.emplace(std::string(m_program) + ": " + std::to_string(m_iSize) + " ranks");
    Message task;
    task.m_kind = Message::Kind::TASK;
    task.m_uiNumber = m_uiJob;
    task.m_bWatched = m_progress->isDue();
    m_bDealt = true;
    for (int iTo = 1; iTo < m_iSize; ++iTo)
    {
        task.m_strText = std::move(in_vTasks[static_cast<std::size_t>(iTo)]);
        send(iTo, task);
    }
    m_strTask = std::move(in_vTasks.front());
    m_bWatched = true;
}

bool Ranks::isTickDue()
{
    if (++m_uiCalls % CALLS_BETWEEN != 0 || !m_bWatched)
        return false;
    const auto now = std::chrono::steady_clock::now();
    if (now < m_next)
        return false;
    m_next = now + TICK;
    return true;
}

void Ranks::tick(std::uint64_t in_uiPatterns, const Fallible<double>& in_shareRead)
{
    const double dShareRead = in_shareRead.isValid() ? in_shareRead.getValue() : 0.0;
    if (!isFirst())
    {
        Message message;
        message.m_kind = Message::Kind::PROGRESS;
        message.m_uiNumber = in_uiPatterns;
        message.m_dShareRead = dShareRead;
        if (m_pTransport->isAllSent())
            send(0, message);
        return;
    }
    m_vPeers.front().m_uiPatterns = in_uiPatterns;
    m_vPeers.front().m_dShareRead = dShareRead;
    hearOthers();
    show();
}

void Ranks::hearOthers()
{
    Message message;
    int iFrom = 0;
    while (receive(iFrom, message))
    {
        Peer& peer = m_vPeers[static_cast<std::size_t>(iFrom)];
        peer.m_bEnded = message.m_kind != Message::Kind::PROGRESS;
        if (message.m_kind == Message::Kind::FAILED)
            throw std::runtime_error("rank " + std::to_string(iFrom) + " of " + std::to_string(m_iSize) +
                                     ", " + message.m_strText);
        if (peer.m_bEnded)
        {
            peer.m_strFound = std::move(message.m_strText);
            peer.m_dShareRead = 1.0;
            continue;
        }
        peer.m_uiPatterns = message.m_uiNumber;
        peer.m_dShareRead = message.m_dShareRead;
    }
}

/// Shares are alike in size.
void Ranks::show()
{
    if (!m_progress->isDue())
        return;
    std::uint64_t uiPatterns = 0;
    double dShareRead = 0.0;
    for (const Peer& peer : m_vPeers)
    {
        uiPatterns += peer.m_uiPatterns;
        dShareRead += peer.m_dShareRead / m_iSize;
    }
    m_progress->show(uiPatterns, dShareRead);
}

void Ranks::deliver(std::string in_strFound)
{
    Message found;
    found.m_kind = Message::Kind::FOUND;
    found.m_strText = std::move(in_strFound);
    send(0, found);
    waitForEnd();
}

std::vector<ShareFile> Ranks::gather(std::string in_strFound)
{
    m_vPeers.front().m_strFound = std::move(in_strFound);
    m_vPeers.front().m_dShareRead = 1.0;
    m_vPeers.front().m_bEnded = true;
    const auto isMissing = [](const Peer& in_peer)
    {
        return !in_peer.m_bEnded;
    };
    for (hearOthers(); std::any_of(m_vPeers.begin(), m_vPeers.end(), isMissing); hearOthers())
    {
        show();
        nap();
    }
    m_progress.reset();
    std::vector<ShareFile> vShares;
    for (Peer& peer : m_vPeers)
        vShares.push_back({m_program,
                           m_uiJob,
                           {vShares.size() + 1, m_vPeers.size()},
                           std::move(peer.m_strFound),
                           "rank " + std::to_string(vShares.size())});
    return vShares;
}

} // namespace Vexalor
