// tarn::Bus: the transport of the message bus. Each service listens on a
// Unix stream socket <root>/tarn/run/bus/<S>.sock; a message to service S
// goes over a connection to that socket, opened on first use and kept. Every
// message travels as one frame: a u32 length (native order) and the flat
// message.
//
// Connections are non-blocking; output that the peer does not take at once
// waits in the connection's buffer and is flushed by the loop. A frame that
// cannot be decoded closes its connection with one diagnostic line; the
// process goes on. A connection found dead on send (the peer restarted) is
// reopened once, so peers may restart freely.
//
// exchange() blocks on the one connection to the target until the reply
// with its sequence number arrives or the time-out passes, reading nothing
// else; a reply that arrives after its request timed out is discarded.
// Requests that arrive on that connection meanwhile are kept for later.
//
// When accept fails for want of descriptors, the listening sockets are left
// unwatched for a short pause (the pending peers wait in the backlog)
// rather than waking the loop without end.
#ifndef PLATFORM_BUS_H
#define PLATFORM_BUS_H

#include <sys/types.h>

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "platform/message.h"
#include "platform/runner.h"

namespace tarn {

// Outcome of listenUnix.
enum class ListenResult { kListening, kAlreadyServed, kPathTooLong, kFailed };

// Makes a non-blocking, close-on-exec Unix stream socket listening at path
// and stores it in *fd. A live socket there (one that accepts a connection)
// is left alone (kAlreadyServed); a stale one is replaced. The socket is
// bound under a temporary name beside path and renamed into place once it
// listens, so a client that finds the file can always connect. kFailed
// leaves errno set.
ListenResult listenUnix(const std::string& path, int* fd);

// Who sent an incoming message: the connection (0: this process) and the
// peer's user id from SO_PEERCRED.
struct Origin {
  uint64_t conn;
  uid_t uid;
};

class Bus {
 public:
  // deliver is called for every incoming message that is not a reply, from
  // the loop (never from inside exchange()).
  typedef void (*Deliver)(void* ctx, message& m, const Origin& from);

  Bus(ThinRunner* runner, void* ctx, Deliver deliver);
  Bus(const Bus&) = delete;
  Bus& operator=(const Bus&) = delete;
  ~Bus();

  // Starts listening as service; adopts an inherited socket (LISTEN_FDS,
  // fd 3) the first time one is offered. False, with a diagnostic, if the
  // socket cannot be made or a live process already serves it.
  bool listen(unsigned service);

  // Queues a frame to service, connecting when needed. False if the service
  // cannot be reached (the message is dropped).
  bool send(unsigned service, const message& m);
  // Sends a reply on the connection a request came from; dropped if that
  // connection is gone.
  void reply(uint64_t conn, const message& m);
  // Sends m (adding a fresh sequence number) and waits for its reply. On
  // time-out or an unreachable service returns an error reply made here
  // (0xff0010 / 0xff0011). timeoutMs < 0 waits without limit.
  message exchange(unsigned service, message& m, int timeoutMs);

  // Delivers the requests kept during exchanges; true if there were any.
  bool drainPending();
  bool hasPending() const { return !pending_.empty(); }

 private:
  struct Conn;

  static void onListen(void* self, int fd, unsigned events);
  static void onConn(void* self, int fd, unsigned events);

  Conn* connFor(unsigned service);
  Conn* byFd(int fd);
  Conn* byId(uint64_t id);
  void close(Conn* c, const std::string& why);
  void acceptAll(int fd);
  // Stops and restarts accepting, while the process has no descriptor to
  // spare (EMFILE and the like); connections already open are served.
  void pauseListening();
  void resumeListening();
  // Reads what is there; false when the connection ended or failed.
  bool readIn(Conn* c);
  // Writes what the peer takes now; false when the connection failed.
  bool flush(Conn* c);
  // Takes the next whole frame off c's input into *m. Returns 1 for a
  // frame, 0 for none yet, -1 for a malformed one.
  int nextFrame(Conn* c, message* m);
  void serveInput(uint64_t id);
  void appendFrame(Conn* c, const message& m);

  ThinRunner* runner_;
  void* ctx_;
  Deliver deliver_;
  std::map<uint64_t, std::unique_ptr<Conn>> conns_;
  std::map<unsigned, uint64_t> outgoing_;  // service -> connection id
  std::map<int, unsigned> listeners_;      // fd -> service
  std::vector<std::string> boundPaths_;    // removed on destruction
  std::deque<std::pair<message, Origin>> pending_;
  uint64_t nextConn_ = 1;
  uint32_t nextSeq_ = 1;
};

}  // namespace tarn

#endif  // PLATFORM_BUS_H
