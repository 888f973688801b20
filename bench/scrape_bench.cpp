// SPDX-License-Identifier: MIT
//
// A scrape of tnstat against one of prometheus-cpp's own exposer with the same families, read from the same
// file: alone and beside fifty idle connections, over a kept connection and over a new one each time. Both
// run at once in processes of their own and are asked in turns. Then what one processor gives, and the
// memory.
//
//     scrape_bench [rounds]
//
// Where it may, all of it runs with real-time priority: the tail of the times would otherwise be how long the
// scheduler lets each wait for what else the machine does, and it is kinder to many threads than to one.
//
// The exposer is set up as well as it can be: a thread for every connection (with its default of two, idle
// connections keep others waiting), connections kept, no delay of small packets.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <prometheus/collectable.h>
#include <prometheus/exposer.h>

#include "common/metrics.h"
#include "tools/tnstat/exposition.h"
#include "tools/tnstat/metrics_file.h"

namespace {

constexpr int IDLE_CONNECTIONS = 50;
constexpr int SCRAPES_PER_ROUND = 100;

/// Scrapes come now and then.
constexpr useconds_t PAUSE_US = 1000;
constexpr int CLIENTS = 4;
constexpr double SECONDS_OF_LOAD = 3.0;
const char* const EXPOSER_THREADS = "64";

std::int64_t NowNs(clockid_t clock = CLOCK_MONOTONIC)
{
    timespec now{};
    clock_gettime(clock, &now);
    return static_cast<std::int64_t>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

sockaddr_in Loopback(unsigned port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    return address;
}

/// A connection that is kept from scrape to scrape.
class Client {
public:
    explicit Client(unsigned port) : fd(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        const sockaddr_in address = Loopback(port);
        const int yes = 1;
        setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
        const timeval patience{10, 0};
        setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof(patience));
        if (connect(fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
            throw std::runtime_error("cannot connect");
        }
    }
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    ~Client() { close(fd); }

    /// The size of the body.
    std::size_t Scrape()
    {
        static const std::string request = "GET /metrics HTTP/1.1\r\nHost: localhost\r\n\r\n";
        if (send(fd, request.data(), request.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(request.size())) {
            throw std::runtime_error("the connection was not kept");
        }
        text.clear();
        std::size_t wanted = std::string::npos;
        std::size_t body = 0;
        while (wanted == std::string::npos || text.size() < wanted) {
            char block[16384];
            const ssize_t count = recv(fd, block, sizeof(block), 0);
            if (count <= 0) {
                throw std::runtime_error("no whole answer");
            }
            text.append(block, static_cast<std::size_t>(count));
            const std::size_t end = text.find("\r\n\r\n");
            if (wanted == std::string::npos && end != std::string::npos) {
                const std::size_t length = text.find("Content-Length: ");
                if (text.compare(0, 12, "HTTP/1.1 200") != 0 || length == std::string::npos || length > end) {
                    throw std::runtime_error("an answer that is no scrape");
                }
                body = std::stoul(text.substr(length + 16));
                wanted = end + 4 + body;
            }
        }
        return body;
    }

private:
    int fd;
    std::string text;
};

/// A server in a process of its own, ended with the object.
struct Server {
    std::string name;
    pid_t pid = -1;
    unsigned port = 0;
    std::vector<std::int64_t> times[2][2];  ///< in ns; [connection kept][beside idle connections]

    ~Server()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }
};

void AwaitService(const Server& server)
{
    for (int i = 0; i < 500; ++i) {
        try {
            Client(server.port).Scrape();
            return;
        } catch (const std::runtime_error&) {
            usleep(20000);
        }
    }
    throw std::runtime_error(server.name + " does not serve");
}

unsigned FreePort()
{
    sockaddr_in address = Loopback(0);
    socklen_t size = sizeof(address);
    const int fd = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool bound = bind(fd, reinterpret_cast<sockaddr*>(&address), size) == 0 &&
                       getsockname(fd, reinterpret_cast<sockaddr*>(&address), &size) == 0;
    close(fd);
    if (!bound) {
        throw std::runtime_error("no port is free");
    }
    return ntohs(address.sin_port);
}

/// The families that tnstat shows, from the file anew at each scrape as tnstat does.
class Figures : public prometheus::Collectable {
public:
    explicit Figures(const std::string& metricsPath) : path(metricsPath) {}
    std::vector<prometheus::MetricFamily> Collect() const override
    {
        return tnstat::MetricFamilies(tnstat::ReadMetricsFile(path));
    }

private:
    std::string path;
};

[[noreturn]] void RunExposer(unsigned port, const std::string& path)
{
    const auto figures = std::make_shared<Figures>(path);
    prometheus::Exposer exposer(
        std::vector<std::string>{"listening_ports", "127.0.0.1:" + std::to_string(port), "num_threads",
                                 EXPOSER_THREADS, "enable_keep_alive", "yes", "tcp_nodelay", "1"});
    exposer.RegisterCollectable(figures);
    for (;;) {
        pause();
    }
}

void StartTnstat(Server& server, const std::string& path)
{
    server.name = "tnstat";
    server.port = FreePort();
    const std::string port = std::to_string(server.port);
    server.pid = fork();
    if (server.pid == 0) {
        setenv("TARNIX_METRICS_FILE", path.c_str(), 1);
        execl(TNSTAT, TNSTAT, "-e", "node_exporter", "--ip", "127.0.0.1", "--port", port.c_str(), nullptr);
        _exit(127);
    }
    AwaitService(server);
}

void StartExposer(Server& server, const std::string& path)
{
    server.name = "exposer";
    server.port = FreePort();
    server.pid = fork();
    if (server.pid == 0) {
        RunExposer(server.port, path);
    }
    AwaitService(server);
}

/// One round of one server. Idle connections have had a scrape each and are made anew, since both servers end
/// those that idle for long.
void Round(Server& server, bool isKept, bool besideIdle)
{
    std::vector<std::unique_ptr<Client>> idle;
    for (int i = 0; besideIdle && i < IDLE_CONNECTIONS; ++i) {
        idle.push_back(std::make_unique<Client>(server.port));
        idle.back()->Scrape();
    }
    auto client = std::make_unique<Client>(server.port);
    client->Scrape();
    for (int i = 0; i < SCRAPES_PER_ROUND; ++i) {
        usleep(PAUSE_US);
        const std::int64_t start = NowNs();
        if (!isKept) {
            client = std::make_unique<Client>(server.port);
        }
        client->Scrape();
        server.times[isKept][besideIdle].push_back(NowNs() - start);
    }
}

double PercentileUs(std::vector<std::int64_t>& times, double share)
{
    std::sort(times.begin(), times.end());
    const auto rank = static_cast<std::size_t>(share * static_cast<double>(times.size() - 1));
    return static_cast<double>(times[rank]) / 1e3;
}

void PrintLatency(Server& ours, Server& baseline, bool isKept, bool besideIdle)
{
    const std::string where = std::string(isKept ? "connection kept" : "new connection") +
                              (besideIdle ? ", beside 50 idle" : ", alone");
    double p99[2] = {};
    int column = 0;
    for (Server* const server : {&ours, &baseline}) {
        std::vector<std::int64_t>& times = server->times[isKept][besideIdle];
        p99[column] = PercentileUs(times, 0.99);
        std::printf("%-8s %-32s p50 %8.1f us  p99 %8.1f us  (%zu scrapes)\n", server->name.c_str(),
                    where.c_str(), PercentileUs(times, 0.5), p99[column], times.size());
        ++column;
    }
    std::printf("ratio: p99 of a scrape, %s: %.2f times the exposer's (goal: at most 1)\n", where.c_str(),
                p99[0] / p99[1]);
}

/// Processor time that a process has used, in seconds.
double ProcessorSeconds(pid_t pid)
{
    clockid_t clock{};
    return clock_getcpuclockid(pid, &clock) == 0 ? static_cast<double>(NowNs(clock)) / 1e9 : 0.0;
}

/// The whole process, every thread, on the first processor that this program may use.
void PinToOneProcessor(pid_t pid)
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    sched_getaffinity(0, sizeof(allowed), &allowed);
    int first = 0;
    while (!CPU_ISSET(first, &allowed)) {
        ++first;
    }
    const std::string command =
        "taskset -a -p -c " + std::to_string(first) + " " + std::to_string(pid) + " >/dev/null";
    if (std::system(command.c_str()) != 0) {
        throw std::runtime_error("taskset failed");
    }
}

void PrintThroughput(const Server& server)
{
    PinToOneProcessor(server.pid);
    std::atomic<long> scrapes{0};
    std::atomic<bool> failed{false};
    const double used = ProcessorSeconds(server.pid);
    const std::int64_t start = NowNs();
    const std::int64_t end = start + static_cast<std::int64_t>(SECONDS_OF_LOAD * 1e9);
    std::vector<std::thread> clients;
    for (int i = 0; i < CLIENTS; ++i) {
        clients.emplace_back([&] {
            try {
                for (Client client(server.port); NowNs() < end; ++scrapes) {
                    client.Scrape();
                }
            } catch (const std::runtime_error&) {
                failed = true;
            }
        });
    }
    for (std::thread& client : clients) {
        client.join();
    }
    if (failed) {
        throw std::runtime_error("a scrape of " + server.name + " failed under load");
    }
    const auto count = static_cast<double>(scrapes);
    std::printf("%-8s on one processor, %d clients: %.0f scrapes/s; %.1f us of processor time each%s\n",
                server.name.c_str(), CLIENTS, count / (static_cast<double>(NowNs() - start) / 1e9),
                (ProcessorSeconds(server.pid) - used) / count * 1e6,
                server.name == "tnstat" ? " (goal: at least 2000 scrapes/s)" : "");
}

void PrintMemory(const Server& server)
{
    std::ifstream status("/proc/" + std::to_string(server.pid) + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS", 0) == 0 || line.rfind("RssAnon", 0) == 0 || line.rfind("Threads", 0) == 0) {
            std::printf("%-8s %s\n", server.name.c_str(), line.c_str());
        }
    }
}

/// A machine of four nodes at work.
SystemMetrics Record()
{
    SystemMetrics record;
    record.loopCnt = 123456;
    record.pageSizeKb = 4;
    record.numaNum = 4;
    record.uncore = {1000, 21000000, 500000, 300000, 0.962F};
    record.task.threadsNum = 1500;
    for (int node = 0; node < record.numaNum; ++node) {
        record.mem.freeMemKb[node] = 50000000U + 1234567U * static_cast<unsigned>(node);
    }
    return record;
}

/// Ahead of everything else on the machine, with the children to come.
void TakePriority()
{
    sched_param lowest{};
    lowest.sched_priority = sched_get_priority_min(SCHED_FIFO);
    const bool isGiven = sched_setscheduler(0, SCHED_FIFO, &lowest) == 0;
    std::printf("real-time priority: %s\n", isGiven ? "yes" : "no, the tail shows the load of the machine");
}

void Measure(int rounds, const std::string& path)
{
    std::ofstream file(path, std::ios::binary);
    const SystemMetrics record = Record();
    file.write(reinterpret_cast<const char*>(&record), sizeof(record));
    file.close();
    TakePriority();
    Server ours;
    Server exposer;
    StartExposer(exposer, path);
    StartTnstat(ours, path);
    std::printf("answers: tnstat %zu bytes, exposer %zu bytes\n", Client(ours.port).Scrape(),
                Client(exposer.port).Scrape());
    for (int round = 0; round < rounds; ++round) {
        Server& first = round % 2 == 0 ? ours : exposer;
        Server& second = round % 2 == 0 ? exposer : ours;
        for (const bool isKept : {true, false}) {
            for (const bool besideIdle : {false, true}) {
                Round(first, isKept, besideIdle);
                Round(second, isKept, besideIdle);
            }
        }
    }
    for (const bool isKept : {true, false}) {
        for (const bool besideIdle : {false, true}) {
            PrintLatency(ours, exposer, isKept, besideIdle);
        }
    }
    PrintThroughput(ours);
    PrintThroughput(exposer);
    PrintMemory(ours);
    PrintMemory(exposer);
}

}  // namespace

int main(int argc, char** argv)
{
    const int rounds = argc > 1 ? std::atoi(argv[1]) : 25;
    if (rounds < 1) {
        std::fprintf(stderr, "usage: scrape_bench [rounds]\n");
        return 2;
    }
    char directory[] = "/dev/shm/scrape_bench_XXXXXX";
    if (mkdtemp(directory) == nullptr) {
        std::perror("scrape_bench: /dev/shm");
        return 1;
    }
    const std::string path = std::string(directory) + "/metrics.bin";
    int status = 0;
    try {
        Measure(rounds, path);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "scrape_bench: %s\n", error.what());
        status = 1;
    }
    unlink(path.c_str());
    rmdir(directory);
    return status;
}
