#include "common/RankTransport.h"

#include <algorithm>
#include <boost/mpi/communicator.hpp>
#include <boost/mpi/environment.hpp>
#include <list>
#include <map>
#include <optional>
#include <utility>

namespace Vexalor
{

namespace
{

namespace mpi = boost::mpi;

/// Messages travel in pieces of this size, since MPI counts in int; the tag tells whether more follow.
constexpr std::size_t PIECE = std::size_t{1} << 26;
enum Tag : int
{
    LAST_PIECE,
    MORE_FOLLOW
};

/// Over the communicator of all processes of an MPI job.
class OpenMpiTransport final : public RankTransport
{
public:
    int getRank() const override { return m_world.rank(); }
    int getSize() const override { return m_world.size(); }
    std::string getHost() const override { return mpi::environment::processor_name(); }

    void send(int in_iTo, std::string in_strBytes) override
    {
        Message& message = m_lSent.emplace_back(Message{std::move(in_strBytes), {}});
        const std::string& strBytes = message.m_strBytes;
        std::size_t uiSent = 0;
        do
        {
            const std::size_t uiPiece = std::min(PIECE, strBytes.size() - uiSent);
            const bool bLast = uiSent + uiPiece == strBytes.size();
            message.m_lRequests.push_back(m_world.isend(in_iTo, bLast ? LAST_PIECE : MORE_FOLLOW,
                                                        strBytes.data() + uiSent, static_cast<int>(uiPiece)));
            uiSent += uiPiece;
        } while (uiSent < strBytes.size());
    }

    bool isAllSent() override
    {
        for (Message& message : m_lSent)
            message.m_lRequests.remove_if([](mpi::request& io_request)
                                          { return io_request.test().has_value(); });
        m_lSent.remove_if([](const Message& in_message) { return in_message.m_lRequests.empty(); });
        return m_lSent.empty();
    }

    bool receive(int& out_iFrom, std::string& out_strBytes) override
    {
        isAllSent();
        while (const auto status = m_world.iprobe())
        {
            std::string& strBegun = m_begun[status->source()];
            const auto iPiece = status->count<char>().value_or(0);
            const std::size_t uiBefore = strBegun.size();
            strBegun.resize(uiBefore + static_cast<std::size_t>(iPiece));
            m_world.recv(status->source(), status->tag(), strBegun.data() + uiBefore, iPiece);
            if (status->tag() == MORE_FOLLOW)
                continue;
            out_iFrom = status->source();
            out_strBytes = std::exchange(strBegun, {});
            return true;
        }
        return false;
    }

    void abort(int in_iStatus) override { mpi::environment::abort(in_iStatus); }

private:
    struct Message
    {
        std::string m_strBytes;
        std::list<mpi::request> m_lRequests; ///< of pieces that have not left yet
    };

    mpi::environment m_environment{mpi::threading::single, false};
    mpi::communicator m_world;
    std::list<Message> m_lSent;
    std::map<int, std::string> m_begun; ///< by sender
};

} // namespace

extern "C" RankTransport* newVexalorRankTransport()
{
    return new OpenMpiTransport;
}

} // namespace Vexalor
