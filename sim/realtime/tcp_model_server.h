#pragma once
// A device (the wireless adapter model) behind a real TCP listener, so that
// a program connects to it as it would to an adapter on the network
// (end-to-end tests, the simulator program). Several servers on 127.0.0.2,
// 127.0.0.3, ... stand for several adapters, each on port 12321.
//
// Only loopback addresses 127.0.0.1 - 127.0.0.254 are served; anything else
// is refused at start(). One connection at a time: a new one replaces the
// old, whose device session ends first. While the device refuses connections
// the address stays bound without listening, so the system refuses them.
//
// Test programs run in parallel and all want 127.0.0.2:12321 and its kin:
// a server holds a cross-process lock on its address from start() to
// stop(), so a second server for the same address waits its turn instead of
// sharing the port (a bound socket that does not listen would not keep
// another one from listening). The lock is the user's own (in a folder of
// the user's in the temporary folder); another user's server is met at
// bind(). start() with a wait of 0 tries once, for a caller that would take
// another address rather than wait.
//
// The device runs on the scheduler's thread only. Change it while the server
// runs through call(), which also brings the listener in line with the
// device's acceptsConnections() before it returns.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "platform/atomic_file.h"
#include "realtime/real_time_scheduler.h"
#include "models/tcp_device.h"

namespace lp::sim {

class TcpModelServer {
public:
    TcpModelServer(TcpDevice& device, std::string address, int32_t port = 12321);
    ~TcpModelServer();
    TcpModelServer(const TcpModelServer&) = delete;
    TcpModelServer& operator=(const TcpModelServer&) = delete;

    // Binds the address and starts serving. While another server (or
    // program) holds the address, start() waits for up to waitMs.
    // False with a reason on failure. A server starts once.
    bool start(std::string* error = nullptr, int waitMs = 30000);

    // Closes the connection (the device is told) and the listener, and stops
    // the device's thread. Idempotent.
    void stop();

    // Runs fn on the device's thread and waits for it.
    bool call(const std::function<void()>& fn);

    RealTimeScheduler& scheduler() { return scheduler_; }
    const std::string& address() const { return address_; }
    int32_t port() const { return port_; }

    // 127.0.0.1 - 127.0.0.254 in dotted form.
    static bool isServableAddress(const std::string& address);

private:
    class Link;

    void ioLoop();
    bool bindAddress(int timeoutMs, std::string* error);
    static bool userLockFolder(std::string& folder, std::string* error);
    void followDevice();
    void deafen();
    void acceptClient();
    void readClient();
    void dropClient();
    void wake();

    TcpDevice& device_;
    const std::string address_;
    const int32_t port_;
    RealTimeScheduler scheduler_;
    std::unique_ptr<Link> link_;

    std::unique_ptr<FileLock> addressLock_;
    std::thread io_;
    std::atomic<bool> stopping_{false};
    bool started_ = false;
    int wakePipe_[2] = {-1, -1};
    // Changed by the I/O thread under listenMutex_, which the device's
    // thread takes to shut a listener down at once (refuseConnectionsNow).
    std::mutex listenMutex_;
    int listenFd_ = -1;
    bool listening_ = false;

    // Shared by the I/O thread and the device's thread.
    std::mutex mutex_;
    int clientFd_ = -1;
    uint64_t clientSession_ = 0; // the connection the I/O thread holds
    uint64_t deviceSession_ = 0; // the connection the device was told of
    bool closedByDevice_ = false;

    // call() waits until the I/O thread has looked at the device again.
    std::mutex syncMutex_;
    std::condition_variable syncDone_;
    uint64_t syncAsked_ = 0;
    uint64_t syncAnswered_ = 0;
};

} // namespace lp::sim
