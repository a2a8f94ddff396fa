// The helper's transport on macOS: the platform's inter-process connection, listening under the
// helper's service name. Every incoming connection must satisfy the client's code-signing
// requirement, and its three messages become request events for the host, which runs on the
// helper's main thread; the connections' own queues only hand them over.

#include "fanhelper/FanHelperTransport.hpp"

#import <Foundation/Foundation.h>
#include <pthread.h>
#include <signal.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "TallowbeckCore/fanboost/FanBoostService.hpp"
#include "TallowbeckCore/posix/StopSignals.hpp"

// The remote interface, declared alike by the status application.
@protocol FanBoostHelperProtocol
- (void)begin:(NSData*)configuration reply:(void (^)(NSData* status))reply;
- (void)heartbeatWithReply:(void (^)(NSData* status))reply;
- (void)stopWithReply:(void (^)(NSData* status))reply;
@end

namespace tallowbeck::fanhelper {
namespace {

using Event = FanBoostHostTransport::Event;
using Operation = FanBoostRequest::Operation;

// Events handed from the connections' queues and the signal thread to the host's thread.
class Inbox {
public:
    void post(Event event) {
        {
            const std::lock_guard lock(mutex_);
            events_.push_back(std::move(event));
        }
        arrived_.notify_one();
    }

    std::vector<Event> take(std::optional<double> timeoutSeconds) {
        std::unique_lock lock(mutex_);
        const auto anything = [this] { return !events_.empty(); };
        if (timeoutSeconds) {
            arrived_.wait_for(lock, std::chrono::duration<double>(*timeoutSeconds), anything);
        } else {
            arrived_.wait(lock, anything);
        }
        return std::exchange(events_, {});
    }

private:
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::vector<Event> events_;
};

std::string bytesOf(NSData* data) {
    return data == nil ? std::string()
                       : std::string(static_cast<const char*>(data.bytes), data.length);
}

NSString* text(std::string_view constant) {
    return [NSString stringWithUTF8String:constant.data()];
}

}  // namespace
}  // namespace tallowbeck::fanhelper

using tallowbeck::fanhelper::Inbox;

// One client's exported object.
@interface FanBoostHelperEndpoint : NSObject <FanBoostHelperProtocol>
- (instancetype)initWithInbox:(std::shared_ptr<Inbox>)inbox connection:(std::uint64_t)connection;
@end

@implementation FanBoostHelperEndpoint {
    std::shared_ptr<Inbox> _inbox;
    std::uint64_t _connection;
}

- (instancetype)initWithInbox:(std::shared_ptr<Inbox>)inbox connection:(std::uint64_t)connection {
    self = [super init];
    if (self != nil) {
        _inbox = std::move(inbox);
        _connection = connection;
    }
    return self;
}

- (void)post:(tallowbeck::FanBoostRequest::Operation)operation
     request:(NSData*)request
       reply:(void (^)(NSData* status))reply {
    _inbox->post({.kind = tallowbeck::FanBoostHostTransport::Event::Kind::request,
                  .connection = _connection,
                  .operation = operation,
                  .request = tallowbeck::fanhelper::bytesOf(request),
                  .reply = [reply](std::string_view status) {
                      reply([NSData dataWithBytes:status.data() length:status.size()]);
                  }});
}

- (void)begin:(NSData*)configuration reply:(void (^)(NSData* status))reply {
    [self post:tallowbeck::FanBoostRequest::Operation::begin request:configuration reply:reply];
}

- (void)heartbeatWithReply:(void (^)(NSData* status))reply {
    [self post:tallowbeck::FanBoostRequest::Operation::heartbeat request:nil reply:reply];
}

- (void)stopWithReply:(void (^)(NSData* status))reply {
    [self post:tallowbeck::FanBoostRequest::Operation::stop request:nil reply:reply];
}

@end

// Accepts the connections that can be made to satisfy the client's requirement.
@interface FanBoostHelperListenerDelegate : NSObject <NSXPCListenerDelegate>
- (instancetype)initWithInbox:(std::shared_ptr<Inbox>)inbox;
@end

@implementation FanBoostHelperListenerDelegate {
    std::shared_ptr<Inbox> _inbox;
    std::uint64_t _nextConnection;
}

- (instancetype)initWithInbox:(std::shared_ptr<Inbox>)inbox {
    self = [super init];
    if (self != nil) {
        _inbox = std::move(inbox);
        _nextConnection = 1;
    }
    return self;
}

- (BOOL)listener:(NSXPCListener*)listener shouldAcceptNewConnection:(NSXPCConnection*)connection {
    // Without the requirement on the connection nothing would keep other programs out, so a
    // system that cannot enforce it serves nobody.
    if (@available(macOS 13.0, *)) {
        [connection setCodeSigningRequirement:tallowbeck::fanhelper::text(
                                                  tallowbeck::FanBoostService::clientRequirement)];
    } else {
        return NO;
    }
    const std::uint64_t identity = _nextConnection++;
    std::shared_ptr<Inbox> inbox = _inbox;
    connection.exportedInterface =
        [NSXPCInterface interfaceWithProtocol:@protocol(FanBoostHelperProtocol)];
    connection.exportedObject = [[FanBoostHelperEndpoint alloc] initWithInbox:inbox
                                                                   connection:identity];
    connection.invalidationHandler = ^{
      inbox->post({.kind = tallowbeck::FanBoostHostTransport::Event::Kind::disconnected,
                   .connection = identity});
    };
    inbox->post({.kind = tallowbeck::FanBoostHostTransport::Event::Kind::connected,
                 .connection = identity});
    [connection resume];
    return YES;
}

@end

namespace tallowbeck::fanhelper {
namespace {

// SIGINT and SIGTERM are blocked on the calling thread, before any other thread starts, and
// taken by a thread of their own that reports each as a shutdown; that thread lives as long as
// the process.
void reportStopSignals(const std::shared_ptr<Inbox>& inbox) {
    const sigset_t signals = stopSignals();
    if (const int error = ::pthread_sigmask(SIG_BLOCK, &signals, nullptr); error != 0) {
        throw std::system_error(error, std::generic_category(), "cannot block SIGINT and SIGTERM");
    }
    std::thread([inbox, signals] {
        for (;;) {
            int received = 0;
            if (::sigwait(&signals, &received) == 0) {
                inbox->post({.kind = Event::Kind::shutdown});
            }
        }
    }).detach();
}

class XPCFanHelperTransport final : public FanBoostHostTransport {
public:
    XPCFanHelperTransport() : inbox_(std::make_shared<Inbox>()) {
        reportStopSignals(inbox_);
        delegate_ = [[FanBoostHelperListenerDelegate alloc] initWithInbox:inbox_];
        listener_ = [[NSXPCListener alloc] initWithMachServiceName:text(FanBoostService::name)];
        listener_.delegate = delegate_;
        [listener_ resume];
    }
    ~XPCFanHelperTransport() override { [listener_ invalidate]; }
    XPCFanHelperTransport(const XPCFanHelperTransport&) = delete;
    XPCFanHelperTransport& operator=(const XPCFanHelperTransport&) = delete;

    std::vector<Event> wait(std::optional<double> timeoutSeconds) override {
        return inbox_->take(timeoutSeconds);
    }

private:
    std::shared_ptr<Inbox> inbox_;
    // The listener only keeps a weak reference to its delegate.
    FanBoostHelperListenerDelegate* delegate_ = nil;
    NSXPCListener* listener_ = nil;
};

}  // namespace

std::unique_ptr<FanBoostHostTransport> openFanHelperTransport(const FanHelperOptions& options) {
    if (options.socket || options.group) {
        throw std::invalid_argument(
            "--socket and --group are for Linux; on macOS the helper listens under its service "
            "name");
    }
    return std::make_unique<XPCFanHelperTransport>();
}

}  // namespace tallowbeck::fanhelper
