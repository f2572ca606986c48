// Everything that a debugger can ask of the plug-in for one file, request by request.
#pragma once

#include "frame/Dwarf2SymbolicPlugin.h"
#include "frame/Preferences.h"
#include "interfaces/DbgSymSymFile.h"
#include "tests/support/ElfWriter.h"

#include <gtest/gtest.h>
#include <initializer_list>
#include <string>
#include <vector>

constexpr u32 kKey = 1;

struct Request {
    enum Kind {
        Check,
        Add,
        Sections,
        Index,
        Unit,
        Function,
        Lines,
        ByName,
        ElfByName,
        ElfByAddress,
        CodeType,
        Console,
        Remove,
    };
    Kind kind;
    u32 number = 0; ///< a DIE's offset, or an address
    std::string text = {};
};

/// Passes a request to the plug-in. The store's id is the file's key.
/// @return the answer as text; what goes into the store isn't part of it. Empty for a refusal.
std::string Ask(DbgSymbolicInterface& plugin, DbgSymSymFile& store, const Request& request);
std::vector<std::string> AskAll(DbgSymbolicInterface& plugin, DbgSymSymFile& store,
                                const std::vector<Request>& requests);

/// All requests for a file, from Check to Remove: its units, functions and line tables, questions with
/// an answer and without, and every console command.
std::vector<Request> AllRequests(const std::string& path);
std::vector<Request> OfKinds(const std::vector<Request>& requests, std::initializer_list<Request::Kind> kinds);

/// The records of what a store holds, sorted, and how many sections. Line rows, which come again when they are
/// asked for again, show once.
std::vector<std::string> Contents(DbgSymSymFile& store);

/// Kind and id of each of these things but lines. In which order things are loaded decides
/// what some of them say, the scope around them for one; it doesn't decide which there are.
std::vector<std::string> Ids(const std::vector<std::string>& contents, bool withTypes = true);
bool IsType(const std::string& record);
/// What only one of the two has, line by line after a sign; empty if they are equal.
std::string Difference(const std::vector<std::string>& found, const std::vector<std::string>& expected);

/// Restores the preferences at a test's end. With those set here a library is loaded with relative
/// addresses and its static base is rewritten.
class WholeLoadTest : public ::testing::Test {
protected:
    WholeLoadTest();
    ~WholeLoadTest() override { g_prefs = m_prefs; }

    /// A file of a unit without a size, a function without a name, an enumeration that doesn't say where it ends.
    static TempFile OddFile();
    /// Notes what a sample, or a file with its whole path, gives when nothing comes between.
    void LoadUndisturbed(const std::string& sample);

    Dwarf2SymbolicPlugin m_plugin;
    std::string m_path;
    std::vector<Request> m_requests;
    std::vector<std::string> m_answers; ///< one for each request
    std::vector<std::string> m_contents;

private:
    Preferences m_prefs = g_prefs;
};
