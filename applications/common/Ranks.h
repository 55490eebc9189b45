#pragma once

#include "common/PatternProgress.h"
#include "common/RankTransport.h"
#include "common/ShareFile.h"
#include "quillcast-infra/ApplicationImpl.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Vexalor
{

/// The processes that mpirun, or srun, has started together with one command (doc/cluster.md). Each does a
/// share of the work. Rank 0 reads what is shared out, deals it, and makes of all shares what one process
/// would have made; the others begin when they were dealt something, and end quietly when there is nothing.
/// Whatever fails anywhere fails rank 0, which ends the others.
///
/// Rank 0: (setJob deal tick* gather)? The others: setJob getTask tick* deliver.
///
/// A process by itself has no others, and none of these is called.
class Ranks
{
public:
    /// Finds the other processes of the command.
    Ranks(const char* in_program, int in_iCount, const char* const* in_arguments);
    ~Ranks();
    Ranks(const Ranks&) = delete;
    Ranks& operator=(const Ranks&) = delete;

    /// True when this process does a share of the work.
    bool areTogether() const { return m_pTransport != nullptr; }
    bool isFirst() const { return m_iRank == 0; }
    /// That of this process.
    Shard getShard() const
    {
        return {static_cast<std::size_t>(m_iRank) + 1, static_cast<std::size_t>(m_iSize)};
    }

    /// Waits until there is something to do; false when there is nothing, and the status to end with.
    bool begin(int& out_iStatus);
    /// After the work, when outputs have their names or are gone: the status to end with. Fails what others
    /// still do when this process has failed.
    int finish(int in_iStatus);

    /// What the job is. Throws std::runtime_error when it differs from that of rank 0.
    void setJob(const JobDigest& in_job);
    /// Hands a task to each rank, in their order; the first is that of this process.
    void deal(std::vector<std::string> in_vTasks);
    /// The same with what a ByteWriter takes.
    template <class Task>
    void deal(const std::vector<Task>& in_vTasks)
    {
        std::vector<std::string> vTasks;
        for (const Task& task : in_vTasks)
        {
            ByteWriter bytes;
            bytes(task);
            vTasks.push_back(bytes.getBytes());
        }
        deal(std::move(vTasks));
    }
    const std::string& getTask() const { return m_strTask; }
    /// While the work is done, for each pattern: true when tick is due.
    bool isTickDue();
    /// Tells where this process is. At rank 0 shows on a terminal how far all are, and throws
    /// std::runtime_error when another one has failed.
    void tick(std::uint64_t in_uiPatterns, const Fallible<double>& in_shareRead);
    /// Hands what was found to rank 0, and waits until that has ended.
    void deliver(std::string in_strFound);
    /// What all have found, in their order, as shares. Waits for it; throws as tick does.
    std::vector<ShareFile> gather(std::string in_strFound);

private:
    struct Message;

    /// What rank 0 knows of a rank.
    struct Peer
    {
        std::uint64_t m_uiPatterns = 0;
        double m_dShareRead = 0.0;
        bool m_bEnded = false; ///< nothing more comes
        std::string m_strFound;
    };

    void findOthers();
    void send(int in_iTo, const Message& in_message);
    bool receive(int& out_iFrom, Message& out_message);
    void waitForEnd();
    void hearOthers();
    void show();
    std::string getCause() const;
    int endAll(int in_iStatus);

    const char* m_program;
    std::unique_ptr<RankTransport> m_pTransport; ///< null: this process is by itself
    std::string m_strFault;                      ///< why the others are out of reach
    int m_iRank = 0;
    int m_iSize = 1;
    std::string m_strTask;
    std::uint64_t m_uiJob = 0;
    bool m_bWatched = false;  ///< on a terminal
    bool m_bDealt = false;    ///< rank 0 has handed out tasks
    bool m_bReleased = false; ///< by rank 0
    unsigned int m_uiCalls = 0;
    std::chrono::steady_clock::time_point m_next;
    std::vector<Peer> m_vPeers; ///< by rank
    std::optional<PatternProgress> m_progress;
};

/// What main returns, as runApplication; the application is made from the other processes of the command.
template <class App>
int runTogether(const char* in_program, int in_iCount, char** in_arguments)
{
    const LoggingSession session;
    Ranks ranks(in_program, in_iCount, in_arguments);
    int iStatus = 0;
    if (!ranks.begin(iStatus))
        return iStatus;
    {
        App application(ranks);
        iStatus = application.run(in_iCount, in_arguments);
    }
    return ranks.finish(iStatus);
}

} // namespace Vexalor
