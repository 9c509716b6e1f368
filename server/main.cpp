// catalogd: the backup server's catalogue service.
#include <csignal>
#include <cstdio>
#include <iostream>

#include <ace/Log_Msg.h>

#include "server/catalog_server.h"
#include "server/server_options.h"

int main(int argc, char** argv) {
  Server_Options options;
  int status = Server_Options::parse(argc, argv, options, std::cout, std::cerr);
  if (status >= 0) return status;

  // Signals are taken by sigwait below, not by whichever thread they hit, so
  // shutdown runs in order: stop serving, drain the commit queue, close.
  sigset_t stop_signals;
  sigemptyset(&stop_signals);
  sigaddset(&stop_signals, SIGINT);
  sigaddset(&stop_signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &stop_signals, nullptr);
  signal(SIGPIPE, SIG_IGN);

  Catalog_Server server(options);
  std::string error;
  if (!server.start(error)) {
    ACE_ERROR((LM_ERROR, "catalogd: %s.\n", error.c_str()));
    return 1;
  }
  std::printf("listening on %s\n", server.address().c_str());
  std::fflush(stdout);

  int signo = 0;
  sigwait(&stop_signals, &signo);
  ACE_DEBUG((LM_INFO, "catalogd stopping on signal %d.\n", signo));
  server.stop();
  ACE_DEBUG((LM_INFO, "catalogd stopped.\n"));
  return 0;
}
