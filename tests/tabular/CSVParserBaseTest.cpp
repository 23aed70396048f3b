#include <FileSystem/tabular/CSVParserBase.h>

#include <gtest/gtest.h>

#include <stdexcept>

using namespace FileSystem;

namespace {

CSVParserBase tableOf(const std::vector<std::vector<std::string>>& rows) {
    CSVParserBase table;
    for (const auto& row : rows)
        table.addRow(row);
    return table;
}

} // namespace

TEST(CSVParserBase, ReadsOutsideTheTableGiveEmptyResults) {
    const CSVParserBase empty;
    EXPECT_EQ(empty.getValue(0, 0), "");
    EXPECT_FALSE(empty.getHeaderIndex(""));
    EXPECT_TRUE(empty.generateHeaderMap().empty());
    EXPECT_TRUE(empty.getHeader().empty());

    const CSVParserBase table = tableOf({{"a", "b"}, {"c"}});
    EXPECT_EQ(table.getValue(1, 0), "c");
    EXPECT_EQ(table.getValue(1, 1), "");
    EXPECT_EQ(table.getValue(-1, 0), "");
    EXPECT_EQ(table.getValue(0, -1), "");
    EXPECT_EQ(&table.getValue(7, 7), &empty.getValue(0, 0)); // one shared empty text
    EXPECT_TRUE(table.getRawRow(2).empty());
    EXPECT_TRUE(table.isRowEmpty(-1));
    EXPECT_EQ(table.getRowColumnCount(0), 2);
    EXPECT_EQ(table.getRowColumnCount(1), 1); // rows are not padded
    EXPECT_EQ(table.getRowColumnCount(5), 0);
}

TEST(CSVParserBase, GrowsOnWriteAndCountsColumns) {
    CSVParserBase table;
    table.setValue("x", 5, 2);
    EXPECT_EQ(table.getNumberOfRows(), 6);
    EXPECT_EQ(table.getNumberOfColumns(), 0); // setValue leaves the count alone
    EXPECT_EQ(table.getRowColumnCount(5), 3);
    EXPECT_EQ(table.getValue(5, 2), "x");
    table.setValue("y", -1, 0);
    table.setValue("y", 0, -1);
    EXPECT_EQ(table.getNumberOfRows(), 6);

    CSVParserBase grid = tableOf({{"h1", "h2", "h3"}, {"a"}, {"b", "c"}});
    EXPECT_EQ(grid.getNumberOfColumns(), 3);
    // Fewer values than rows: the last row is untouched, the count still grows.
    std::vector<std::string> values{"v0", "v1"};
    grid.addColumn(values);
    EXPECT_EQ(grid.getNumberOfColumns(), 4);
    EXPECT_EQ(grid.getRawRow(0), (std::vector<std::string>{"h1", "h2", "h3", "v0"}));
    EXPECT_EQ(grid.getRawRow(1), (std::vector<std::string>{"a", "", "", "v1"}));
    EXPECT_EQ(grid.getRawRow(2), (std::vector<std::string>{"b", "c"}));

    grid.removeRow(0);
    grid.removeRow(9);
    EXPECT_EQ(grid.getNumberOfRows(), 2);
    EXPECT_EQ(grid.getNumberOfColumns(), 4);
    const auto rows = grid.takeRawData();
    EXPECT_EQ(rows.size(), 2u);
    EXPECT_EQ(grid.getNumberOfRows(), 0);
    EXPECT_EQ(grid.beginRows(), grid.endRows());
    EXPECT_EQ(grid.getNumberOfColumns(), 4);
}

TEST(CSVParserBase, NumericReadsTakeADecimalCommaAndTheFrontOfACell) {
    const CSVParserBase table = tableOf({{"1,5", "1,500,000", "12abc", "  7", "abc", "-9223372036854775808", ""}});
    double d = -1;
    EXPECT_TRUE(table.getNumericValue(0, 0, d));
    EXPECT_DOUBLE_EQ(d, 1.5);
    EXPECT_TRUE(table.getNumericValue(0, 1, d));
    EXPECT_DOUBLE_EQ(d, 1.5); // parsing stops at the second comma
    float f = 0;
    EXPECT_TRUE(table.getNumericValue(0, 2, f));
    EXPECT_FLOAT_EQ(f, 12.0f);
    std::int64_t i = 0;
    EXPECT_TRUE(table.getNumericValue(0, 0, i));
    EXPECT_EQ(i, 1); // no decimal comma for integers
    EXPECT_TRUE(table.getNumericValue(0, 3, i));
    EXPECT_EQ(i, 7);
    EXPECT_TRUE(table.getNumericValue(0, 5, i));
    EXPECT_EQ(i, INT64_MIN);

    d = 42;
    EXPECT_FALSE(table.getNumericValue(0, 4, d));
    EXPECT_FALSE(table.getNumericValue(0, 6, d));
    EXPECT_FALSE(table.getNumericValue(0, 7, d));
    EXPECT_FALSE(table.getNumericValue(-1, 0, d));
    EXPECT_EQ(d, 42); // untouched by a failed read
    EXPECT_EQ(table.getNumericValue(0, 3), 7.0);
    EXPECT_FALSE(table.getNumericValue(0, 4));
}

TEST(CSVParserBase, FindsColumnsByTheirHeader) {
    CSVParserBase table = tableOf({{"x", "y", "x", "Z"}, {"1", "2", "3", "4"}});
    const auto map = table.generateHeaderMap();
    EXPECT_EQ(map.size(), 3u);
    EXPECT_EQ(map.at("x"), 0); // the first of two equal texts stands
    EXPECT_EQ(map.at("Z"), 3);
    EXPECT_EQ(table.getHeaderIndex("y"), 1);
    EXPECT_FALSE(table.getHeaderIndex("z")); // bytes and case
    EXPECT_EQ(table.getHeaderIndices({"Z", "x"}), (std::vector<int>{3, 0}));
    try {
        table.getHeaderIndices({"y", "missing"});
        FAIL() << "an unknown header was accepted";
    } catch (const std::runtime_error& error) {
        EXPECT_STREQ(error.what(), "Missing Header 'missing'");
    }

    table.clearData();
    EXPECT_EQ(table.getNumberOfColumns(), 4);
    EXPECT_FALSE(table.getHeaderIndex("x"));
    EXPECT_THROW(table.getHeaderIndices({"x"}), std::runtime_error);
    // Without columns nothing is looked up, so nothing is missing either.
    CSVParserBase noColumns;
    noColumns.setValue("x", 0, 0);
    EXPECT_FALSE(noColumns.getHeaderIndex("x"));
    EXPECT_TRUE(noColumns.getHeaderIndices({"x", "missing"}).empty());
}
