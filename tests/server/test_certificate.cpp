#include "tests/server/test_certificate.h"

#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

#include <cstdio>
#include <memory>

namespace {

struct Pkey_Free {
  void operator()(EVP_PKEY* p) const { EVP_PKEY_free(p); }
};
struct X509_Free {
  void operator()(X509* x) const { X509_free(x); }
};
struct File_Close {
  void operator()(FILE* f) const { std::fclose(f); }
};

// The step that failed and OpenSSL's own reason for it.
bool failed(std::string& error, char const* step) {
  char reason[256] = "";
  unsigned long code = ERR_get_error();
  if (code) ERR_error_string_n(code, reason, sizeof reason);
  ERR_clear_error();
  error = std::string(step) + " failed" + (code ? std::string(": ") + reason : std::string());
  return false;
}

bool add_extension(X509* x, X509V3_CTX* ctx, int nid, char const* value) {
  X509_EXTENSION* ext = X509V3_EXT_conf_nid(nullptr, ctx, nid, value);
  if (!ext) return false;
  bool ok = X509_add_ext(x, ext, -1) == 1;
  X509_EXTENSION_free(ext);
  return ok;
}

}  // namespace

bool Test_Certificate::create(std::string const& dir, std::string const& name, std::string const& ip,
                              std::string& error) {
  std::unique_ptr<EVP_PKEY, Pkey_Free> key(EVP_EC_gen("P-256"));
  if (!key) return failed(error, "EVP_EC_gen");
  std::unique_ptr<X509, X509_Free> x(X509_new());
  if (!x) return failed(error, "X509_new");
  if (X509_set_version(x.get(), 2) != 1) return failed(error, "X509_set_version");
  if (ASN1_INTEGER_set(X509_get_serialNumber(x.get()), 1) != 1) return failed(error, "ASN1_INTEGER_set");
  if (!X509_gmtime_adj(X509_getm_notBefore(x.get()), -60) || !X509_gmtime_adj(X509_getm_notAfter(x.get()), 3600))
    return failed(error, "X509_gmtime_adj");
  if (X509_set_pubkey(x.get(), key.get()) != 1) return failed(error, "X509_set_pubkey");
  X509_NAME* subject = X509_get_subject_name(x.get());
  if (X509_NAME_add_entry_by_txt(subject, "CN", MBSTRING_ASC, reinterpret_cast<unsigned char const*>(ip.c_str()), -1,
                                 -1, 0) != 1)
    return failed(error, "X509_NAME_add_entry_by_txt");
  if (X509_set_issuer_name(x.get(), subject) != 1) return failed(error, "X509_set_issuer_name");
  X509V3_CTX ctx;
  X509V3_set_ctx_nodb(&ctx);
  X509V3_set_ctx(&ctx, x.get(), x.get(), nullptr, nullptr, 0);
  // Clients match an address against the subjectAltName, not the CN.
  if (!add_extension(x.get(), &ctx, NID_subject_alt_name, ("IP:" + ip).c_str())) return failed(error, "subjectAltName");
  if (!add_extension(x.get(), &ctx, NID_basic_constraints, "critical,CA:TRUE"))
    return failed(error, "basicConstraints");
  if (X509_sign(x.get(), key.get(), EVP_sha256()) == 0) return failed(error, "X509_sign");

  cert_ = dir + "/" + name + ".crt";
  key_ = dir + "/" + name + ".key";
  std::unique_ptr<FILE, File_Close> out(std::fopen(cert_.c_str(), "w"));
  if (!out) return failed(error, ("opening " + cert_).c_str());
  if (PEM_write_X509(out.get(), x.get()) != 1) return failed(error, "PEM_write_X509");
  out.reset(std::fopen(key_.c_str(), "w"));
  if (!out) return failed(error, ("opening " + key_).c_str());
  if (PEM_write_PrivateKey(out.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr) != 1)
    return failed(error, "PEM_write_PrivateKey");
  if (std::fclose(out.release()) != 0) return failed(error, ("writing " + key_).c_str());
  return true;
}
