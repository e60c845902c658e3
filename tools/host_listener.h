/*
 * host_listener.h - the receiver's listening socket and accept loop.
 *
 * The socket file is created with the requested mode (0666 by default) so
 * that backends running as another user (CUPS runs them as lp) can connect.
 * A socket file left by a receiver that died is removed; a path that a live
 * receiver still answers on, or that is not a socket at all, is left alone
 * and the receiver refuses to start.
 *
 * Under a service manager the socket may be inherited instead (socket
 * activation): it is then used as it is, and its file is never removed.
 *
 * Every accepted connection is served by a thread of its own, so a slow or
 * stuck backend never holds up the others.  SIGINT and SIGTERM stop the
 * loop: the listening socket is closed and its file removed (when it is
 * still the file this receiver made), open connections are shut down so
 * their jobs end as incomplete, and the loop waits for their threads to
 * write what they have.
 */
#ifndef KIVPRINTER_HOST_LISTENER_H
#define KIVPRINTER_HOST_LISTENER_H

#include <string>

#include "host_connection.h"

struct ListenerConfig
{
  std::string path = "/tmp/kivprinter.sock"; /* --socket */
  unsigned mode = 0666;                      /* --mode */
  bool once = false;                         /* --once */
};

/* Creates, binds and listens on the socket at path with the given mode,
   after removing a stale socket file.  Returns the descriptor, or -1 after
   an error line on standard error. */
int listener_open(const std::string &path, unsigned mode);

/* The listening socket a service manager handed over (LISTEN_FDS and
   LISTEN_PID naming this process; descriptor 3), with its path for the
   log.  -1 when none was handed over, -2 after an error line when one was
   but cannot be used. */
int listener_inherited(std::string *path);

/* True once SIGINT or SIGTERM has arrived. */
bool receiver_stop_requested();

/* Runs the receiver until SIGINT or SIGTERM, or with once until the first
   connection that carried data has ended.  Returns the exit status: 0, or
   with once 0 when that job was complete and 1 when not; 1 when the socket
   could not be opened. */
int run_receiver(const ListenerConfig &config, HostShared *shared);

#endif
