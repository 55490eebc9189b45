#pragma once

#include "ml-annotate/AnnotateCommands.h"
#include "quillcast-infra/ApplicationImpl.h"

#include <cstddef>
#include <string>

namespace Vexalor
{

/// A command with what it takes, and how many files these are.
struct AnnotateCommand
{
    const char* m_name;
    const char* m_arguments;
    std::size_t m_uiFewest;
    std::size_t m_uiMost;
    bool (*m_run)(const AnnotateRequest&);
    const char* m_description;
};

/// Lists, checks, imports and exports the annotations of recordings. The first argument is the command, the
/// others are its files.
class AnnotateApplication : public ApplicationImpl
{
public:
    AnnotateApplication();

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    bool run_i() override;

private:
    bool takeFormat(const variables_map& in_map);
    bool takeIgnored(const variables_map& in_map);
    bool checkCommand();
    bool checkPicture() const;
    bool checkOptions(const variables_map& in_map) const;
    bool checkTiers() const;
    const AnnotateCommand* findCommand() const;

    std::string m_strCommand;
    AnnotateRequest m_request;
};

} // namespace Vexalor
