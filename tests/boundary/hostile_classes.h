// SPDX-License-Identifier: MIT
//
// Classes of a host that happen to bear the names of the plug-in's own: the same mangled names, another
// behaviour. The program exports all of them, as hosts of plug-ins do. Each member that the plug-in could
// reach by mistake counts in g_hijackedCalls.

#ifndef TESTS_BOUNDARY_HOSTILE_CLASSES_H
#define TESTS_BOUNDARY_HOSTILE_CLASSES_H

#include <string>

#include "scenario/framework.h"

/// Calls that reached the classes below.
extern int g_hijackedCalls;

struct ScenarioNumaScore;

class NumaScenario {
public:
    static NumaScenario& GetInstance();
    void UpdateScoreParam(int len, const PmuData* data, int interval);
    void UpdatePmu(const std::string& topicKey, int len, const PmuData* data, int interval);
    void GetNumaScore(ScenarioNumaScore& out);
    void ResetScoreParam();
};

namespace kovari {

class NumaScenarioIns : public Interface {
public:
    NumaScenarioIns();
    ~NumaScenarioIns() override;
    Result OpenTopic(const Topic& topic) override;
    void CloseTopic(const Topic& topic) override;
    void UpdateData(const DataList& dataList) override;
    Result Enable(const std::string& param) override;
    void Disable() override;
    void Run() override;
};

}  // namespace kovari

class Stat {
public:
    bool Init();
    int Run();
    void UpdateProcStat();
};

class Option {
public:
    std::string Parse(const std::string& text);
};

class Conf {
public:
    bool IsValid(bool quiet) const;
};

class Metrics {
public:
    static Metrics& GetInstance();
    bool Init();
    bool Init(bool quiet);
    bool Dump();
    void ClearMetrics();
};

int GetPageSizeKb();
float Kb2Mb(float kb);

class Snapshot {
public:
    void Init();
};

enum class LogLevel : int { QUIET, LOUD, INFO_OF_THE_LIBRARY };
enum class LogType : int { ANY };

class LoggerCtl {
public:
    static LoggerCtl& GetInstance();
    bool SetLogFile(const std::string& name);
    void* GetLog(LogType type);
    void LogStandalone(LogLevel level, const std::string& message);
};

void DefaultLogFunc(LogLevel level, const std::string& message);

/// An inline singleton: GCC gives its object one address per process, whatever library it comes from.
/// Kept out of line so that the program exports it.
class Log {
public:
    __attribute__((noinline)) static Log& GetInstance()
    {
        static Log log;
        return log;
    }
    void Write(const std::string& line);
    int lines = 0;
};

#endif  // TESTS_BOUNDARY_HOSTILE_CLASSES_H
