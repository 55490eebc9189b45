#pragma once

#include <chrono>
#include <string>

namespace Vexalor
{

/// One line on a terminal that tells how far a long task is, rewritten at most ten times a second, removed at
/// the end and for each message on the console. Writes nothing when the descriptor is no terminal, nor when
/// messages of info level are not wanted. One at a time in a program.
///     if (progress.isDue()) progress.show("epoch 12 of 100");
class Progress
{
public:
    /// The descriptor of standard error by default.
    explicit Progress(int in_iDescriptor = 2);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    /// A terminal on which others show what this program writes to a descriptor that is none, as mpirun does.
    static void setTerminal(int in_iDescriptor);

    /// True when the next text may be shown, so that none is built for nothing.
    bool isDue() const;
    void show(const std::string& in_strText);
    /// Removes the line until the next show.
    void hide();

private:
    std::size_t getWidth() const;
    void write(const std::string& in_strText) const;

    int m_iDescriptor;
    int m_iTerminal; ///< where that ends up
    bool m_bTerminal;
    bool m_bShown = false;
    std::chrono::steady_clock::time_point m_next;
};

} // namespace Vexalor
