#pragma once

#include "quillcast-core/ExceptionWithMsg.h"

namespace Vexalor
{

/// What a user asked for makes no sense: a program that throws it while it takes its options ends with the
/// exit status of an unknown option.
class CommandLineError : public ExceptionWithMsg
{
public:
    using ExceptionWithMsg::ExceptionWithMsg;
};

} // namespace Vexalor
