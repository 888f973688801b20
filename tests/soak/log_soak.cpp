// SPDX-License-Identifier: MIT

#include "tests/soak/service_runs.h"

#include <cstddef>
#include <cstdio>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "common/logger_ctl.h"
#include "tests/soak/soak.h"
#include "tests/support/scratch_directory.h"

namespace soak {
namespace {

constexpr std::size_t THREADS = 8;
constexpr std::uint64_t LINES_PER_LOOK = 64;
constexpr std::uint64_t ROTATION = 200000;  // lines, fewer in a short run
constexpr std::size_t LONGEST_TAIL = 120;

/// What stands behind "soak " in a line; every line of a thread has its own.
std::string LineText(std::size_t thread, std::uint64_t number)
{
    return std::to_string(thread) + " " + std::to_string(number) + " " +
           std::string(static_cast<std::size_t>(number % LONGEST_TAIL), static_cast<char>('a' + number % 26));
}

/// Threads that log, and hold still when the main thread wants to open the log file anew.
class Writers {
public:
    /// Each writes its lines `from` to `to` - 1.
    Writers(std::uint64_t from, std::uint64_t to)
    {
        for (std::size_t thread = 0; thread < THREADS; ++thread) {
            threads.emplace_back([this, thread, from, to] { Write(thread, from, to); });
        }
    }
    Writers(const Writers&) = delete;
    Writers& operator=(const Writers&) = delete;
    ~Writers() { Join(); }

    void Join()
    {
        for (std::thread& thread : threads) {
            if (thread.joinable()) {
                thread.join();
            }
        }
    }

    /// Lines so far, give or take LINES_PER_LOOK of each thread.
    std::uint64_t Written() const { return written; }

    bool Finished()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        return finished == THREADS;
    }

    void HoldStill()
    {
        std::unique_lock<std::mutex> lock(mutex);
        hold = true;
        changed.wait(lock, [this] { return still + finished == THREADS; });
    }

    void GoOn()
    {
        const std::lock_guard<std::mutex> lock(mutex);
        hold = false;
        changed.notify_all();
    }

private:
    void Write(std::size_t thread, std::uint64_t from, std::uint64_t to)
    {
        const Log& log = logger->GetLog(LogType::RUNTIME);
        for (std::uint64_t number = from; number < to; ++number) {
            log.logFunc(LogLevel::INFO, "soak " + LineText(thread, number));
            if (number % LINES_PER_LOOK == LINES_PER_LOOK - 1) {
                written += LINES_PER_LOOK;
                Pause();
            }
        }
        const std::lock_guard<std::mutex> lock(mutex);
        ++finished;
        changed.notify_all();
    }

    void Pause()
    {
        if (!hold) {
            return;
        }
        std::unique_lock<std::mutex> lock(mutex);
        ++still;
        changed.notify_all();
        changed.wait(lock, [this] { return !hold; });
        --still;
    }

    std::vector<std::thread> threads;
    std::atomic<std::uint64_t> written{0};
    std::mutex mutex;
    std::condition_variable changed;
    std::atomic<bool> hold{false};
    std::size_t still = 0;
    std::size_t finished = 0;
};

/// Reads what was logged, file after file.
class Reader {
public:
    void Read(const std::string& path)
    {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line);) {
            Require(!file.eof(), "a file ends with a whole line");
            Take(line);
            ++lines;
        }
    }

    std::uint64_t Lines() const { return lines; }

private:
    /// "[03/07/25 14:02:09.045] [41277] [INFO] soak THREAD NUMBER TAIL"
    void Take(std::string_view line)
    {
        constexpr std::string_view MARK = "] [INFO] soak ";
        constexpr std::size_t STAMP = 23;
        Require(line.size() > STAMP + 2 && line[0] == '[' && line.substr(STAMP - 1, 3) == "] [",
                "a line begins with its stamp");
        const std::size_t mark = line.find(MARK);
        Require(mark != std::string_view::npos && mark < 40, "a line has its level");
        const std::string_view text = line.substr(mark + MARK.size());
        const std::size_t thread = text.empty() ? THREADS : static_cast<std::size_t>(text[0] - '0');
        Require(thread < THREADS, "a line names its thread");
        Require(text == LineText(thread, next[thread]),
                "each line of a thread is there once, whole, in its order");
        ++next[thread];
    }

    std::array<std::uint64_t, THREADS> next{};
    std::uint64_t lines = 0;
};

/// The log file that is written, rotated and read.
class RotatedLog {
public:
    explicit RotatedLog(const std::string& file) : path(file)
    {
        Require(logger->SetLogFile(path), "the log file opens");
    }

    /// Moves the file away while threads write to it, and opens it anew while they hold still.
    void Rotate(Writers& writers)
    {
        Require(std::rename(path.c_str(), old.c_str()) == 0, "the log file can be renamed");
        logger->ReloadPrepare();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        writers.HoldStill();
        Require(logger->NeedReloadLog(), "the log has to be opened anew");
        logger->ReloadLogFile();
        writers.GoOn();
        ++rotations;
        ReadOld();
    }

    /// Reads what is left; nobody writes.
    void Finish()
    {
        Require(std::rename(path.c_str(), old.c_str()) == 0, "the log file can be renamed");
        logger->ReloadLogFile();
        ReadOld();
    }

    std::uint64_t Lines() const { return reader.Lines(); }
    std::uint64_t Rotations() const { return rotations; }

private:
    void ReadOld()
    {
        reader.Read(old);
        std::remove(old.c_str());
    }

    std::string path;
    std::string old = path + ".1";
    Reader reader;
    std::uint64_t rotations = 0;
};

/// Lines `from` to `to` - 1 of each thread, with a rotation every `every` lines.
void LogPart(RotatedLog& log, std::uint64_t from, std::uint64_t to, std::uint64_t every)
{
    const std::size_t threadsBefore = ReadFootprint().threads;
    {
        Writers writers(from, to);
        for (std::uint64_t next = every; !writers.Finished();) {
            if (writers.Written() < next) {
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
                continue;
            }
            log.Rotate(writers);
            next += every;
        }
    }
    WaitForThreads(threadsBefore);
    log.Finish();
}

}  // namespace

bool LogLines(std::uint64_t lines)
{
    const std::uint64_t ofEach = lines / THREADS;
    const std::uint64_t every = std::min(ROTATION, lines / 8);
    const support::ScratchDirectory directory;
    RotatedLog log(directory / "soak.log");
    Watch watch("log lines from eight threads under rotation", ofEach * THREADS);
    // In two parts: the threads of the first are gone when the footprint is taken.
    LogPart(log, 0, ofEach / 10, every);
    watch.EndWarmUp();
    LogPart(log, ofEach / 10, ofEach, every);
    watch.Count(log.Lines());
    const bool good = watch.End();
    std::printf("  every line there once, whole and in order; %lu rotations\n", log.Rotations());
    Require(log.Rotations() > 0, "the file was rotated while threads wrote");
    logger->SetLogFile("stdout");
    return good;
}

}  // namespace soak
