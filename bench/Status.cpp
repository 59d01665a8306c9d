#include "Status.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QTimer>
#include <algorithm>
#include <array>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "Stopwatch.h"
#include "model/StatusReport.h"
#include "model/StatusService.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

namespace kestrel::bench {

namespace {

constexpr std::uint16_t port = 38765;
constexpr int connections = 32;

double threadSeconds()
{
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Returns the bytes of the answer; 0 where there was none.
std::size_t request(const std::string &text)
{
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    std::size_t size = 0;
    if (::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 &&
        ::send(socket, text.data(), text.size(), MSG_NOSIGNAL) > 0) {
        static thread_local std::array<char, 65536> buffer;
        for (ssize_t count = 0; (count = ::recv(socket, buffer.data(), buffer.size(), 0)) > 0;)
            size += static_cast<std::size_t>(count);
    }
    ::close(socket);
    return size;
}

struct Load {
    double perSecond = 0, mainShare = 0;
    long failed = 0;
};

// Sends so many requests from all connections, while the main thread runs its event loop.
Load load(const std::string &path, long wanted)
{
    const std::string text = "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n";
    std::atomic<long> left = wanted, failed = 0;
    std::atomic<int> working = connections;
    const Stopwatch watch;
    const double before = threadSeconds();
    std::vector<std::jthread> clients;
    for (int i = 0; i < connections; ++i)
        clients.emplace_back([&] {
            while (left-- > 0)
                failed += request(text) == 0 ? 1 : 0;
            --working;
        });
    QEventLoop loop;
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, &loop, [&] {
        if (working == 0)
            loop.quit();
    });
    look.start(20);
    loop.exec();
    const double seconds = watch.wall();
    return {static_cast<double>(wanted) / seconds, (threadSeconds() - before) / seconds, failed};
}

} // namespace

nlohmann::ordered_json status(AppModel &model)
{
    StatusService service(model);
    service.apply(true, port);
    model.startConversion();
    while (!service.port())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);

    std::vector<double> snapshots;
    FileItem &last = *model.library().items().back();
    for (int i = 0; i < 50; ++i) {
        // The sums change with every file that ends.
        model.library().change(last, [](FileItem &item) { item.included = !item.included; });
        const Stopwatch watch;
        const StatusSnapshot snapshot = statusSnapshot(model);
        snapshots.push_back(watch.wall());
    }
    std::sort(snapshots.begin(), snapshots.end());
    load("/status.json", 5000); // afterwards everything has been allocated once
    const Load json = load("/status.json", 20'000);
    const Load page = load("/", 20'000);
    const double before = residentMegabytes();
    const Load many = load("/status.json", 100'000);
    const double grown = residentMegabytes() - before;
    const auto queued = model.run()->total;
    model.stop();
    while (model.isBusy())
        QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    return {{"files", queued},         {"snapshot", snapshots[snapshots.size() / 2]},
            {"json", json.perSecond},  {"page", page.perSecond},
            {"share", json.mainShare}, {"failed", json.failed + page.failed + many.failed},
            {"grown", grown}};
}

} // namespace kestrel::bench
