// SPDX-License-Identifier: MIT

#include <algorithm>

#include "common/logger_ctl.h"
#include "tests/faults/machine.h"
#include "tests/faults/operation.h"

namespace faults {
namespace {

const char* const LOG_NAME = "a-log-file-with-a-long-name.log";
const char* const MESSAGE = "a message that is longer than any string keeps without memory";

LoggerCtl& Ctl()
{
    return LoggerCtl::GetInstance();
}

/// The logger as it is at the start, with a new file and a gate that is open.
void Reset()
{
    Ctl().stream.reset();
    std::string().swap(Ctl().logFile);
    Ctl().useStdout = true;
    Ctl().reloadPending = false;
    Ctl().level = LogLevel::INFO;
    Ctl().InitSnapshot(0);
    Machine::Get().Remove(LOG_NAME);
}

void UseFile()
{
    Reset();
    Ctl().SetLogFile(LOG_NAME);
}

/// Where lines go, and whether the message is in the file, as a line of its own.
std::string LoggerText()
{
    const std::string file = Machine::Get().Read(LOG_NAME);
    const std::size_t at = file.find(std::string("] ") + MESSAGE + "\n");
    const std::size_t snapAt = file.find(std::string("] [SNAP] ") + MESSAGE + "\n");
    return std::string(Ctl().useStdout ? "standard output" : "<" + Ctl().logFile + ">") +
           (Ctl().stream != nullptr && Ctl().stream->is_open() ? " open" : "") +
           (Ctl().reloadPending ? " asked" : "") +
           (at != std::string::npos || snapAt != std::string::npos ? " logged" : "");
}

Operation OnLogger(std::string name, Memory memory, std::function<void()> arrange, std::function<void()> call,
                   std::function<bool(const std::string&, const std::string&)> documented = nullptr)
{
    return {std::move(name), memory,
            [arrange, call] {
                arrange();
                // The logger outlives the trial; what a trial leaves in it must not look like a leak.
                const std::shared_ptr<void> end(nullptr, [](void* /*none*/) { Reset(); });
                return Trial{[call, end] { call(); }, LoggerText};
            },
            std::move(documented)};
}

/// A file that cannot be opened is kept by name and lines go to standard error until a reload opens it.
bool NotOpened(const std::string& state, const std::string& /*before*/)
{
    return state == std::string("<") + LOG_NAME + ">";
}

/// SetLogFile with its result. A second call does not open what the first could not: a reload does.
Operation SetFile()
{
    static const std::string NAME = LOG_NAME;
    return {"LoggerCtl::SetLogFile", Memory::THROWS,
            [] {
                Reset();
                const std::shared_ptr<void> end(nullptr, [](void* /*none*/) { Reset(); });
                auto result = std::make_shared<std::optional<bool>>();
                return Trial{[result, end] { *result = Ctl().SetLogFile(NAME); },
                             [result] {
                                 return LoggerText() + " result " +
                                        (result->has_value() ? Text(**result) : "none");
                             },
                             [result] {
                                 *result = Ctl().SetLogFile(NAME);
                                 if (!**result) {
                                     Ctl().ReloadLogFile();
                                     *result = Ctl().SetLogFile(NAME);
                                 }
                             }};
            },
            [](const std::string& state, const std::string& /*before*/) {
                return state == "<" + NAME + "> result 0";
            }};
}

const std::string& Message()
{
    static const std::string TEXT = MESSAGE;
    return TEXT;
}

Operation SetFunction()
{
    static std::string heard;
    static const LogFunction LISTEN = [](LogLevel /*level*/, const std::string& text) { heard = text; };
    return {"LoggerCtl::SetLogFunc", Memory::THROWS,
            [] {
                heard.clear();
                static constexpr LogType TYPE = static_cast<LogType>(77);
                const std::shared_ptr<void> end(nullptr, [](void* /*none*/) {
                    Ctl().logs.erase(static_cast<LogType>(77));
                    std::string().swap(heard);
                });
                return Trial{[end] { Ctl().SetLogFunc(TYPE, LISTEN, LISTEN); },
                             [] {
                                 const auto found = Ctl().logs.find(TYPE);
                                 if (found == Ctl().logs.end()) {
                                     return std::string("no channel");
                                 }
                                 found->second.logFunc(LogLevel::INFO, "x");
                                 return "channel, heard " + heard;
                             }};
            },
            nullptr};
}

Operation GetChannel()
{
    return {"LoggerCtl::GetLog", Memory::THROWS,
            [] {
                static constexpr LogType TYPE = static_cast<LogType>(78);
                const std::shared_ptr<void> end(
                    nullptr, [](void* /*none*/) { Ctl().logs.erase(static_cast<LogType>(78)); });
                return Trial{[end] { Ctl().GetLog(TYPE); },
                             [] { return std::to_string(Ctl().logs.count(TYPE)); }};
            },
            nullptr};
}

/// The stamp without its figures.
std::string StampShape()
{
    std::string stamp = LoggerCtl::GetTimeString();
    std::replace_if(
        stamp.begin(), stamp.end(), [](char c) { return c >= '0' && c <= '9'; }, '9');
    return stamp;
}

struct SnapshotHolder {
    static Operation On(std::string name, std::function<void(Snapshot&)> call)
    {
        return {"Snapshot::" + name, Memory::NONE,
                [call] {
                    auto gate = std::make_shared<Snapshot>();
                    gate->enabled = true;
                    return Trial{[gate, call] { call(*gate); },
                                 [gate] {
                                     return std::to_string(gate->interval) + " " +
                                            std::to_string(gate->elapsed) + std::to_string(gate->forced);
                                 }};
                },
                nullptr};
    }
};

}  // namespace

Operations LoggerOperations()
{
    Machine::Get();
    return {
        Returning("LoggerCtl::GetInstance", Memory::NONE, [] { return static_cast<int>(Ctl().useStdout); }),
        Returning("LoggerCtl::GetTimeString", Memory::THROWS, StampShape),
        OnLogger("LoggerCtl::InitSnapshot", Memory::NONE, Reset, [] { Ctl().InitSnapshot(3); }),
        SetFile(),
        OnLogger("LoggerCtl::ReloadPrepare", Memory::NONE, UseFile, [] { Ctl().ReloadPrepare(); }),
        OnLogger("LoggerCtl::NeedReloadLog", Memory::NONE, UseFile, [] { Ctl().NeedReloadLog(); }),
        OnLogger(
            "LoggerCtl::ReloadLogFile", Memory::THROWS,
            [] {
                UseFile();
                Ctl().ReloadPrepare();
            },
            [] { Ctl().ReloadLogFile(); }, NotOpened),
        OnLogger("LoggerCtl::LogStandalone", Memory::NONE, UseFile,
                 [] { Ctl().LogStandalone(LogLevel::WARN, Message()); }),
        OnLogger("DefaultLogFunc", Memory::NONE, UseFile, [] { DefaultLogFunc(LogLevel::WARN, Message()); }),
        OnLogger(
            "DefaultSnapFunc", Memory::THROWS,
            [] {
                UseFile();
                Ctl().InitSnapshot(3);
            },
            [] { DefaultSnapFunc(LogLevel::DEBUG, Message()); }),
        SetFunction(),
        GetChannel(),
        SnapshotHolder::On("Init", [](Snapshot& gate) { gate.Init(true, 5); }),
        SnapshotHolder::On("UpdateInterval", [](Snapshot& gate) { gate.UpdateInterval(0); }),
        SnapshotHolder::On("ShouldSnap", [](Snapshot& gate) { gate.ShouldSnap(); }),
    };
}

}  // namespace faults
