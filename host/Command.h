// What every command of symhost is: its name, its own options, and what it does.
#pragma once

#include "host/Host.h"

#include <memory>
#include <string>
#include <vector>

class Loader;
class Options;

/// The exit status of a command that was typed wrong.
inline constexpr int kUsageError = 2;

class Command {
public:
    /// What its help says.
    struct Text {
        std::string name;
        std::string summary;
        std::vector<std::string> examples; ///< command lines, without the program's name
    };

    virtual ~Command() = default;

    virtual Text Describe() const = 0;
    /// Declares its words and options, apart from those that every command takes.
    virtual void Declare(Options& options) = 0;
    /// @return the exit status.
    virtual int Run(Host& host) = 0;
    /// The exit status if the command could not run or its output could not be written.
    virtual int TroubleStatus() const { return 1; }

    /// True if the command can run on the file that the console has open.
    virtual bool TakesOpenFile() const { return false; }
    /// Runs on it.
    virtual int RunOn(Loader&, Host&) { return 1; }
};

/// A command on one symbol file, its first word.
class FileCommand : public Command {
public:
    void Declare(Options& options) final;
    int Run(Host& host) final;
    bool TakesOpenFile() const override { return true; }
    int RunOn(Loader& file, Host& host) final;

protected:
    /// What it takes behind the file.
    virtual void DeclareMore(Options& options);
    virtual Opening HowToOpen() const { return {}; }
    /// Called ahead of the file, which may take long. @return 0, or an exit status; the complaint has been made.
    virtual int CheckWords() { return 0; }
    /// @param file rated and added.
    /// @return the exit status.
    virtual int Ask(Loader& file, Host& host) = 0;

private:
    std::string m_path;
};

struct ListedCommand {
    std::string group; ///< its title in the help; empty for a command that isn't for people
    std::unique_ptr<Command> command;

    bool IsHidden() const { return group.empty(); }
};

/// All commands, in the order in which help lists them: a row of Commands.def each.
std::vector<ListedCommand> MakeCommands();

#define COMMAND(name) std::unique_ptr<Command> Make##name##Command();
#include "host/Commands.def"
