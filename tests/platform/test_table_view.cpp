#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "zeva/platform/TableView.hpp"

using namespace zeva;

TEST(Image, NamedSortIndicatorsAreShared) {
    auto up = Image::imageNamed("NSAscendingSortIndicator");
    auto down = Image::imageNamed("NSDescendingSortIndicator");
    ASSERT_TRUE(up);
    ASSERT_TRUE(down);
    EXPECT_EQ(up, Image::imageNamed(kAscendingSortIndicator));
    EXPECT_EQ(down, Image::imageNamed(kDescendingSortIndicator));
    EXPECT_NE(up, down);
    EXPECT_EQ(up->name(), "NSAscendingSortIndicator");
    EXPECT_EQ(Image::imageNamed("NSAscendingSortindicator"), nullptr);
    EXPECT_EQ(Image::imageNamed(""), nullptr);
}

TEST(TableColumn, IdentifierAndTitle) {
    auto c = TableColumn::columnWithIdentifier("6", "Mag");
    EXPECT_EQ(c->identifier()->intValue(), 6);
    EXPECT_EQ(c->headerTitle()->str(), "Mag");
    auto bare = TableColumn::columnWithIdentifier("9");
    EXPECT_EQ(bare->headerTitle()->str(), "9");
    auto id = mstr("3");
    bare->setIdentifier(id);
    id->setString("4");  // the column keeps its own copy
    EXPECT_EQ(bare->identifier()->str(), "3");
    EXPECT_EQ(bare->description(), "<TableColumn: 3>");
}

namespace {

// Rows of numbers; a header click sorts them and toggles the indicator the
// way a real data source does, so the table's side is exercised end to end.
class NumberSource : public TableViewDataSource {
public:
    explicit NumberSource(MemoryTableView& table) : table_(table) {}
    std::vector<int> rows{3, 1, 2};
    std::vector<TableView*> seen;

    int32_t numberOfRowsInTableView(TableView* tv) override {
        seen.push_back(tv);
        return static_cast<int32_t>(rows.size());
    }
    Ref<String> tableView_objectValueForTableColumn_row(TableView*, const Ref<TableColumn>& column,
                                                        int32_t row) override {
        if (row < 0 || row >= static_cast<int32_t>(rows.size())) return nullptr;
        if (column->identifier()->intValue() == 2) return nullptr;
        return str(std::to_string(rows[static_cast<size_t>(row)] * column->identifier()->intValue()));
    }
    void tableView_mouseDownInHeaderOfTableColumn(TableView*, const Ref<TableColumn>& column) override {
        bool descending = table_.indicatorImageInTableColumn(column) == Image::imageNamed(kAscendingSortIndicator);
        for (const auto& c : table_.tableColumns()) table_.setIndicatorImage_inTableColumn(nullptr, c);
        if (descending)
            std::sort(rows.begin(), rows.end(), std::greater<>());
        else
            std::sort(rows.begin(), rows.end());
        table_.setNeedsDisplay(true);
        table_.setIndicatorImage_inTableColumn(
            Image::imageNamed(descending ? kDescendingSortIndicator : kAscendingSortIndicator), column);
    }

private:
    MemoryTableView& table_;
};

}  // namespace

TEST(MemoryTableView, ColumnsAndIndicators) {
    MemoryTableView table;
    auto one = table.addTableColumn("1", "Time");
    auto six = table.addTableColumn(TableColumn::columnWithIdentifier("6", "Mag"));
    EXPECT_EQ(table.addTableColumn(Ref<TableColumn>()), nullptr);
    ASSERT_EQ(table.tableColumns().size(), 2u);
    EXPECT_EQ(table.tableColumns()[1], six);
    EXPECT_EQ(table.tableColumnWithIdentifier("6"), six);
    EXPECT_EQ(table.tableColumnWithIdentifier("7"), nullptr);

    auto up = Image::imageNamed(kAscendingSortIndicator);
    EXPECT_EQ(table.indicatorImageInTableColumn(one), nullptr);
    table.setIndicatorImage_inTableColumn(up, six);
    EXPECT_EQ(table.indicatorImageInTableColumn(six), up);
    EXPECT_EQ(table.indicatorImageInTableColumn(one), nullptr);
    table.setIndicatorImage_inTableColumn(nullptr, six);
    EXPECT_EQ(table.indicatorImageInTableColumn(six), nullptr);

    // A column of another table is not this table's: ignored.
    auto stranger = TableColumn::columnWithIdentifier("6");
    table.setIndicatorImage_inTableColumn(up, stranger);
    EXPECT_EQ(table.indicatorImageInTableColumn(stranger), nullptr);
    EXPECT_EQ(table.indicatorImageInTableColumn(six), nullptr);

    EXPECT_FALSE(table.needsDisplay());
    table.setNeedsDisplay(true);
    table.setNeedsDisplay(true);
    EXPECT_TRUE(table.needsDisplay());
    EXPECT_EQ(table.redrawRequests(), 2);
    table.clearNeedsDisplay();
    EXPECT_FALSE(table.needsDisplay());
}

TEST(MemoryTableView, SelectionWithinTheDataSourceRows) {
    MemoryTableView table;
    EXPECT_EQ(table.selectedRow(), -1);
    EXPECT_FALSE(table.selectRow(0));  // no data source: no rows
    NumberSource source(table);
    table.setDataSource(&source);
    EXPECT_TRUE(table.selectRow(2));
    EXPECT_EQ(table.selectedRow(), 2);
    EXPECT_FALSE(table.selectRow(3));
    EXPECT_FALSE(table.selectRow(-2));
    EXPECT_EQ(table.selectedRow(), 2);
    EXPECT_TRUE(table.selectRow(-1));
    EXPECT_EQ(table.selectedRow(), -1);
}

TEST(MemoryTableView, RowsTextAndHeaderClicks) {
    MemoryTableView table;
    auto c1 = table.addTableColumn("1", "N");
    table.addTableColumn("2", "Nothing");
    auto c10 = table.addTableColumn("10", "Ten");
    EXPECT_EQ(table.numberOfRows(), 0);
    EXPECT_EQ(table.tabSeparatedText(), "N\tNothing\tTen\n");

    NumberSource source(table);
    table.setDataSource(&source);
    EXPECT_EQ(table.numberOfRows(), 3);
    EXPECT_EQ(source.seen.back(), &table);
    EXPECT_EQ(table.cellText(0, c10)->str(), "30");
    EXPECT_EQ(table.cellText(3, c1), nullptr);
    EXPECT_EQ(table.tabSeparatedText(), "N\tNothing\tTen\n3\t\t30\n1\t\t10\n2\t\t20\n");

    auto up = Image::imageNamed(kAscendingSortIndicator);
    auto down = Image::imageNamed(kDescendingSortIndicator);
    table.clickHeaderOfTableColumn(c10);
    EXPECT_EQ(source.rows, (std::vector<int>{1, 2, 3}));
    EXPECT_EQ(table.indicatorImageInTableColumn(c10), up);
    table.clickHeaderOfTableColumn(c10);
    EXPECT_EQ(source.rows, (std::vector<int>{3, 2, 1}));
    EXPECT_EQ(table.indicatorImageInTableColumn(c10), down);
    table.clickHeaderOfTableColumn(c1);
    EXPECT_EQ(table.indicatorImageInTableColumn(c1), up);
    EXPECT_EQ(table.indicatorImageInTableColumn(c10), nullptr);
    EXPECT_EQ(table.redrawRequests(), 3);

    // Clicks on a column the table does not have reach nobody.
    table.clickHeaderOfTableColumn(TableColumn::columnWithIdentifier("1"));
    EXPECT_EQ(table.redrawRequests(), 3);
}
