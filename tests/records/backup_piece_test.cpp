#include <string>

#include <gtest/gtest.h>

#include <ace/Log_Msg.h>

#include "backup/backup_set/common/backup_piece.h"
#include "platform/json/json_text.h"
#include "tests/records/document.h"
#include "tests/support/log_capture.h"

using json_spirit::Array;
using json_spirit::Object;
using json_spirit::Value;

TEST(BackupPiece, DefaultPieceWritesAllFourKeys) {
  Backup_Piece piece;
  EXPECT_EQ(R"({"path":"","object":"","size":0,"extended_attrs":{}})", document_of(piece));
}

TEST(BackupPiece, FilledPieceWritesItsValuesInKeyOrder) {
  Backup_Piece piece;
  piece.path = "/pool/a\"b";
  piece.object = "file";
  piece.size = -7;
  piece.extended_attrs["z"] = Value(1);
  piece.extended_attrs["a"] = Value("x");
  EXPECT_EQ(R"({"path":"/pool/a\"b","object":"file","size":-7,"extended_attrs":{"a":"x","z":1}})",
            document_of(piece));
}

TEST(BackupPiece, NullGeneratorFailsWithEmergencyMessage) {
  Log_Capture capture;
  Backup_Piece piece;
  EXPECT_FALSE(piece.generate(nullptr));
  ASSERT_EQ(1u, capture.size());
  EXPECT_TRUE(capture.has(LM_EMERGENCY, "Unexpected error in "));
  EXPECT_TRUE(capture.has(LM_EMERGENCY, "backup_piece.cpp:"));
  EXPECT_TRUE(capture.has(LM_EMERGENCY, ", gen is NULL:\n"));
}

TEST(BackupPiece, ColumnsFillTheFields) {
  Backup_Piece piece;
  EXPECT_TRUE(piece.print_cstr(0, "path", "/a/b/c-extra", 6));
  EXPECT_TRUE(piece.print_cstr(1, "object", "dir", 3));
  EXPECT_TRUE(piece.print_int(2, "size", 1234567890123LL));
  EXPECT_TRUE(piece.print_json(3, "extended_attrs", Value(Object{{"k", Value("v")}})));
  EXPECT_EQ("/a/b/c", piece.path);
  EXPECT_EQ("dir", piece.object);
  EXPECT_EQ(1234567890123LL, piece.size);
  EXPECT_EQ((Object{{"k", Value("v")}}), piece.extended_attrs);
}

TEST(BackupPiece, ColumnsArriveThroughThePrinterInterface) {
  Backup_Piece piece;
  database::sql::Query_Result_Printer& printer = piece;
  EXPECT_TRUE(printer.print_cstr(0, "path", "/p", 2));
  EXPECT_TRUE(printer.print_int(0, "size", 9));
  EXPECT_TRUE(printer.print_json(0, "extended_attrs", Value(Object{{"x", Value(true)}})));
  EXPECT_EQ("/p", piece.path);
  EXPECT_EQ(9, piece.size);
  EXPECT_EQ(1u, piece.extended_attrs.size());
}

TEST(BackupPiece, ExtendedAttrsArrayOrStringLeavesAttributesUnchanged) {
  Backup_Piece piece;
  piece.extended_attrs["keep"] = Value(1);
  Object const before = piece.extended_attrs;
  EXPECT_TRUE(piece.print_json(0, "extended_attrs", Value(Array{Value(1), Value(2)})));
  EXPECT_EQ(before, piece.extended_attrs);
  EXPECT_TRUE(piece.print_json(0, "extended_attrs", Value("{\"a\":1}")));
  EXPECT_EQ(before, piece.extended_attrs);
  EXPECT_TRUE(piece.print_json(0, "extended_attrs", Value()));
  EXPECT_EQ(before, piece.extended_attrs);
}

TEST(BackupPiece, IdAndSetUuidColumnsAreAcceptedWithoutChange) {
  Backup_Piece piece;
  piece.path = "/keep";
  std::string const before = document_of(piece);
  EXPECT_TRUE(piece.print_int(0, "id", 42));
  EXPECT_TRUE(piece.print_cstr(1, "set_uuid", "0f2d9a3c-0000-4000-8000-000000000001", 36));
  EXPECT_TRUE(piece.print_cstr(2, "id", "42", 2));
  EXPECT_EQ(before, document_of(piece));
}

TEST(BackupPiece, NullOrEmptyKeyFailsInEveryIntake) {
  Log_Capture capture;
  Backup_Piece piece;
  EXPECT_FALSE(piece.print_cstr(0, nullptr, "x", 1));
  EXPECT_FALSE(piece.print_cstr(0, "", "x", 1));
  EXPECT_FALSE(piece.print_int(0, nullptr, 1));
  EXPECT_FALSE(piece.print_int(0, "", 1));
  EXPECT_FALSE(piece.print_json(0, nullptr, Value(Object())));
  EXPECT_FALSE(piece.print_json(0, "", Value(Object())));
  EXPECT_EQ(6u, capture.count(LM_EMERGENCY, ", key is NULL or \"\":\n"));
  EXPECT_EQ(6u, capture.size());
  EXPECT_EQ(R"({"path":"","object":"","size":0,"extended_attrs":{}})", document_of(piece));
}

TEST(BackupPiece, ValuesInsideOpenMapOrArrayAreIgnored) {
  Backup_Piece piece;
  piece.start_array(0, "pieces");
  EXPECT_TRUE(piece.print_cstr(0, "path", "/nested", 7));
  EXPECT_TRUE(piece.print_int(0, "size", 3));
  piece.start_map(0, "");
  EXPECT_TRUE(piece.print_json(0, "extended_attrs", Value(Object{{"a", Value(1)}})));
  piece.end_map();
  piece.end_array();
  EXPECT_EQ("", piece.path);
  EXPECT_EQ(0, piece.size);
  EXPECT_TRUE(piece.extended_attrs.empty());
  EXPECT_TRUE(piece.print_cstr(0, "path", "/top", 4));
  EXPECT_EQ("/top", piece.path);
}

TEST(BackupPiece, CopyIsIndependent) {
  Backup_Piece a;
  a.path = "/a";
  a.extended_attrs["k"] = Value(1);
  Backup_Piece b = a;
  b.path = "/b";
  b.extended_attrs.clear();
  EXPECT_EQ("/a", a.path);
  EXPECT_EQ(1u, a.extended_attrs.size());
}
