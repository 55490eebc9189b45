#pragma once

#include <string>

namespace Vexalor
{

/// How processes that were started together reach each other. They have numbers from 0 on. A library of its
/// own implements it, which is loaded only where processes were started so.
///
/// Operations throw std::exception when the others cannot be reached.
class RankTransport
{
public:
    /// All processes come to their ends together.
    virtual ~RankTransport() = default;

    virtual int getRank() const = 0;
    virtual int getSize() const = 0;
    /// Of the machine.
    virtual std::string getHost() const = 0;

    /// Begins to send, and comes back. Messages between two processes keep their order; there may be any
    /// number of bytes.
    virtual void send(int in_iTo, std::string in_strBytes) = 0;
    /// True when everything has left this process.
    virtual bool isAllSent() = 0;
    /// The next message, from whomever, if there is one. Comes back at once.
    virtual bool receive(int& out_iFrom, std::string& out_strBytes) = 0;
    /// Ends all processes, this one included.
    virtual void abort(int in_iStatus) = 0;
};

/// Of that library: the transport of this process, owned by the caller; it may be asked for once.
using NewRankTransport = RankTransport* (*)();
constexpr const char* RANK_LIBRARY = "vexalor-machine-learning/libvexalor-openmpi.so";
constexpr const char* RANK_FUNCTION = "newVexalorRankTransport";

} // namespace Vexalor
