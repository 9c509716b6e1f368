#ifndef TESTS_NET_SUPPORT_TLS_TEST_CERTIFICATE_H
#define TESTS_NET_SUPPORT_TLS_TEST_CERTIFICATE_H

#include <cstdio>
#include <cstdlib>
#include <string>

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

// A self-signed certificate for 127.0.0.1 with its key, written as PEM files
// into a fresh temporary folder and removed with the object.
class TLS_Test_Certificate {
 public:
  TLS_Test_Certificate() {
    char tmpl[] = "/tmp/bset-tls-XXXXXX";
    if (!mkdtemp(tmpl)) return;
    dir_ = tmpl;
    cert_ = dir_ + "/cert.pem";
    key_ = dir_ + "/key.pem";
    EVP_PKEY* pkey = EVP_EC_gen("P-256");
    X509* x = X509_new();
    X509_set_version(x, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(x), 1);
    X509_gmtime_adj(X509_getm_notBefore(x), -60);
    X509_gmtime_adj(X509_getm_notAfter(x), 3600);
    X509_set_pubkey(x, pkey);
    X509_NAME* name = X509_get_subject_name(x);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<unsigned char const*>("127.0.0.1"), -1, -1,
                               0);
    X509_set_issuer_name(x, name);
    X509V3_CTX ctx;
    X509V3_set_ctx_nodb(&ctx);
    X509V3_set_ctx(&ctx, x, x, nullptr, nullptr, 0);
    X509_EXTENSION* san = X509V3_EXT_conf_nid(nullptr, &ctx, NID_subject_alt_name, "IP:127.0.0.1");
    X509_add_ext(x, san, -1);
    X509_EXTENSION_free(san);
    X509_EXTENSION* bc = X509V3_EXT_conf_nid(nullptr, &ctx, NID_basic_constraints, "critical,CA:TRUE");
    X509_add_ext(x, bc, -1);
    X509_EXTENSION_free(bc);
    X509_sign(x, pkey, EVP_sha256());
    FILE* f = fopen(cert_.c_str(), "w");
    if (f) {
      PEM_write_X509(f, x);
      fclose(f);
    }
    f = fopen(key_.c_str(), "w");
    if (f) {
      PEM_write_PrivateKey(f, pkey, nullptr, nullptr, 0, nullptr, nullptr);
      fclose(f);
    }
    X509_free(x);
    EVP_PKEY_free(pkey);
    ok_ = true;
  }
  ~TLS_Test_Certificate() {
    if (dir_.empty()) return;
    std::remove(cert_.c_str());
    std::remove(key_.c_str());
    std::remove(dir_.c_str());
  }
  bool ok() const { return ok_; }
  std::string const& cert() const { return cert_; }
  std::string const& key() const { return key_; }

 private:
  bool ok_ = false;
  std::string dir_, cert_, key_;
};

#endif
