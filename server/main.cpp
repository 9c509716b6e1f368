// catalogd: the backup server's catalogue service.
#include <iostream>

#include "server/catalog_server.h"
#include "server/server_options.h"

int main(int argc, char** argv) {
  Server_Options options;
  int status = Server_Options::parse(argc, argv, options, std::cout, std::cerr);
  if (status >= 0) return status;
  Catalog_Server::run(options, "catalogd");
}
