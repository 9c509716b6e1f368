#include "server/piece_path.h"

std::string Piece_Path::dir(std::string const& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string() : path.substr(0, slash);
}

std::string Piece_Path::name(std::string const& path) {
  size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

std::vector<std::string> Piece_Path::ancestors(std::string const& path) {
  std::vector<std::string> out;
  for (size_t at = path.find('/', 1); at != std::string::npos; at = path.find('/', at + 1))
    out.push_back(path.substr(0, at));
  return out;
}

std::vector<std::string> Piece_Path::directories(std::string const& given) {
  std::vector<std::string> out{given};
  if (!given.empty() && given.back() == '/') out.push_back(given.substr(0, given.size() - 1));
  return out;
}
