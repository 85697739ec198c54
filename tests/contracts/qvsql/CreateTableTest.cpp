#include <string>
#include <vector>

#include "DatabaseFixture.h"

namespace qvsql_test {
namespace {

class CreateTableTest : public DatabaseTest {
 protected:
  static Field Key(const std::string& name, int type) {
    Field field(name, type);
    field.flag = true;
    return field;
  }

  bool Make(const std::string& name, const std::vector<Field>& fields) {
    return db_.CreateTable(name, fields);
  }

  Cells DeclaredColumns(const std::string& table) const { return support::Columns(Path(), table); }

  Database db_ = Created();
};

TEST(Field, IsAPlainColumnUnlessToldOtherwise) {
  const Field field("name", 3);
  EXPECT_FALSE(field.flag);
  EXPECT_EQ(field.type, 3);
  EXPECT_EQ(field.name, "name");
  EXPECT_FALSE(Field().flag);
}

TEST(Field, TypeCodesAreOneToFour) {
  EXPECT_EQ(qvsql::kIntegerColumn, 1);
  EXPECT_EQ(qvsql::kRealColumn, 2);
  EXPECT_EQ(qvsql::kTextColumn, 3);
  EXPECT_EQ(qvsql::kBlobColumn, 4);
}

TEST_F(CreateTableTest, DeclaresEveryTypeInTheGivenOrder) {
  ASSERT_TRUE(Make("t", {Field("d", 4), Field("c", 3), Field("b", 2), Field("a", 1)}));
  EXPECT_THAT(DeclaredColumns("t"), ElementsAre("d BLOB", "c TEXT", "b REAL", "a INTEGER"));
}

TEST_F(CreateTableTest, MakesAnEmptyTable) {
  ASSERT_TRUE(Make("t", {Field("a", 1)}));
  EXPECT_EQ(RawCount(), "0");
}

TEST_F(CreateTableTest, PlainColumnsHaveNoConstraints) {
  ASSERT_TRUE(Make("t", {Field("a", 1), Field("b", 3)}));
  for (const auto& row :
       support::Query(Path(), "SELECT \"notnull\", dflt_value, pk FROM pragma_table_info('t')")) {
    EXPECT_EQ(row[0].text, "0");
    EXPECT_EQ(row[1].type, "null");
    EXPECT_EQ(row[2].text, "0");
  }
  EXPECT_THAT(support::Query(Path(), "SELECT * FROM pragma_index_list('t')"), IsEmpty());
}

TEST_F(CreateTableTest, TheFlagMakesThePrimaryKey) {
  ASSERT_TRUE(Make("t", {Field("a", 3), Key("b", 3)}));
  EXPECT_EQ(support::QueryOne(Path(), "SELECT group_concat(name) FROM pragma_table_info('t') WHERE pk > 0"),
            "b");
}

TEST_F(CreateTableTest, AKeyRefusesTheSameValueTwice) {
  ASSERT_TRUE(Make("t", {Key("a", 3), Field("b", 3)}));
  EXPECT_TRUE(db_.AddRecords("t", {"x", "1", "y", "1"}, 2));
  EXPECT_FALSE(db_.AddRecords("t", {"x", "2"}, 2));
}

TEST_F(CreateTableTest, SeveralFlagsMakeOneKeyTogether) {
  ASSERT_TRUE(Make("t", {Key("a", 1), Key("b", 1)}));
  EXPECT_TRUE(db_.AddRecords("t", {"1", "1", "1", "2", "2", "1"}, 2));
  EXPECT_FALSE(db_.AddRecords("t", {"1", "2"}, 2));
}

TEST_F(CreateTableTest, TakesOddNamesLiterally) {
  for (const std::string name :
       {"with blank", "select", "Table", "a\"b", "a'b", "a;b", "[a]", "`a`", "a.b", "1a", "--", "/*",
        "t); DROP TABLE x; --", "\xE6\x9C\xAC", "?1", "a,b", "a\\b"}) {
    ASSERT_TRUE(Make(name, {Field("a", 1)})) << name;
    ASSERT_TRUE(db_.AddRecords(name, {"7"}, 1)) << name;
    EXPECT_THAT(CellsOf(db_, name), ElementsAre("7")) << name;
    EXPECT_THAT(support::Tables(Path()), testing::Contains(name));
  }
}

TEST_F(CreateTableTest, TakesOddColumnNamesLiterally) {
  const Cells names{"with blank", "order", "a\"b",  "a'b",          "a;b",
                    "a) --",      "rowid", "group", "\xE6\x9C\xAC", "1"};
  std::vector<Field> fields;
  for (const auto& name : names) {
    fields.emplace_back(name, 3);
  }
  ASSERT_TRUE(Make("t", fields));
  ASSERT_TRUE(db_.AddRecords("t", names, static_cast<int>(names.size())));
  EXPECT_EQ(CellsOf(db_, "t"), names);
  EXPECT_EQ(RowsOf(db_, "SELECT * FROM t").names, names);
}

TEST_F(CreateTableTest, TakesManyColumns) {
  std::vector<Field> fields;
  Cells cells;
  for (int i = 0; i < 500; ++i) {
    fields.emplace_back("c" + std::to_string(i), 1);
    cells.push_back(std::to_string(i));
  }
  ASSERT_TRUE(Make("t", fields));
  ASSERT_TRUE(db_.AddRecords("t", cells, 500));
  EXPECT_EQ(CellsOf(db_, "t"), cells);
}

TEST_F(CreateTableTest, RefusesATableThatExists) {
  ASSERT_TRUE(Make("t", {Field("a", 1)}));
  EXPECT_FALSE(Make("t", {Field("b", 1)}));
  EXPECT_FALSE(Make("T", {Field("b", 1)}));
  EXPECT_THAT(DeclaredColumns("t"), ElementsAre("a INTEGER"));
}

TEST_F(CreateTableTest, RefusesATableWithoutColumns) {
  EXPECT_FALSE(Make("t", {}));
  EXPECT_THAT(support::Tables(Path()), IsEmpty());
}

TEST_F(CreateTableTest, RefusesTypesThatAreNoneOfTheFour) {
  for (const int type : {0, 5, -1, 100, 2147483647}) {
    EXPECT_FALSE(Make("t", {Field("a", 1), Field("b", type)})) << type;
  }
  EXPECT_THAT(support::Tables(Path()), IsEmpty());
}

TEST_F(CreateTableTest, RefusesAColumnNameTwice) {
  EXPECT_FALSE(Make("t", {Field("a", 1), Field("A", 2)}));
  EXPECT_THAT(support::Tables(Path()), IsEmpty());
}

TEST_F(CreateTableTest, RefusesNamesThatTheEngineKeepsForItself) {
  EXPECT_FALSE(Make("sqlite_mine", {Field("a", 1)}));
}

TEST_F(CreateTableTest, RefusesNamesWithANul) {
  EXPECT_FALSE(Make(std::string("t\0u", 3), {Field("a", 1)}));
  EXPECT_FALSE(Make("t", {Field(std::string("a\0b", 3), 1)}));
  EXPECT_THAT(support::Tables(Path()), IsEmpty());
}

TEST_F(CreateTableTest, WorksOnAfterARefusal) {
  EXPECT_FALSE(Make("t", {}));
  EXPECT_FALSE(Make("t", {Field("a", 9)}));
  EXPECT_TRUE(Make("t", {Field("a", 1)}));
}

}  // namespace
}  // namespace qvsql_test
