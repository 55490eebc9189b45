#pragma once

#include "quillcast-core/StringVector.h"

#include <string>

namespace Vexalor
{

/// Loads dynamic libraries whose static initialisers register classes (plug-ins). A library that was loaded
/// stays until the process ends: objects of its classes would not survive its removal.
///
/// A file that names libraries is code: programs that read such files from others limit what may be loaded,
/// before they read the first one. The limits hold for the whole process; set them while one thread runs.
class DynLibsLoader
{
public:
    /// Loads a library, or finds it loaded. A name with a slash is a path; one without is looked up in the
    /// plug-in folders, if any are set, and by the system otherwise. The path of the file is logged at info
    /// level. False, with the reason logged at error level, when it cannot be loaded or is not allowed.
    static bool loadDynLib(const char* in_name);
    /// Tells the path of its file as well: one path for a library, by whatever names it is loaded.
    static bool loadDynLib(const char* in_name, std::string& out_strFile);

    /// A function of a library that belongs to the programs, by its path below the folder of this one. It is
    /// loaded whatever the limits say, since no file names it. Null, with the reason told, when it
    /// cannot be.
    static void* findOwnFunction(const char* in_library, const char* in_function, std::string& out_strReason);

    /// That path of the library, or the program, that an object or a function lies in; empty if in none.
    static std::string findFile(const void* in_pAddress);

    /// Only libraries whose files, links resolved, lie in or below one of these folders are loaded from now
    /// on; an empty list lifts the limit. False, with the earlier list kept, if a folder does not exist.
    static bool setPluginFolders(const StringVector& in_vFolders);

    /// While set, nothing is loaded.
    static void setRefuseAll(bool in_bRefuse);
};

} // namespace Vexalor
