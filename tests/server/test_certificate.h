#ifndef TESTS_SERVER_TEST_CERTIFICATE_H
#define TESTS_SERVER_TEST_CERTIFICATE_H

#include <string>

// A self-signed certificate for one IP address (a P-256 key, valid from a
// minute ago for an hour, marked as a CA so that it can be its own trust
// anchor), made with OpenSSL's C API and written as PEM files into a folder
// the caller owns. Tests make their own so that nothing depends on an
// `openssl` program being installed.
class Test_Certificate {
 public:
  // Writes `<dir>/<name>.crt` and `<dir>/<name>.key`. False, with `error`
  // set, when any step fails.
  bool create(std::string const& dir, std::string const& name, std::string const& ip, std::string& error);

  std::string const& cert_file() const { return cert_; }
  std::string const& key_file() const { return key_; }

 private:
  std::string cert_;
  std::string key_;
};

#endif
