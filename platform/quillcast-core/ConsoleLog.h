#pragma once

#include <string>

namespace Vexalor
{

/// What the console of a program has shown (Logger::configureForConsole), for who has the last word there.
///
/// Warnings and errors that come from one place in the source are shown ten times, then counted.
namespace ConsoleLog
{

/// Remembers errors also where a configuration file says what becomes of messages.
void watchErrors();
/// All messages are shown from now on.
void showRepeats();
/// Tells what was counted instead of shown, a line for each kind, and counts anew.
void tellLeftOut();

/// The errors up to now have been dealt with: the program goes on without what they concern.
void settleErrors();
/// Why the program fails: the first error since then, where there is one that is no assertion; empty when
/// there is none.
std::string getCause();
/// True when that is the last message on standard error.
bool endsWith(const std::string& in_strMessage);

} // namespace ConsoleLog

} // namespace Vexalor
