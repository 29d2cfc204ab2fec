#include <gtest/gtest.h>

#include <vector>

#include "zeva/platform/TableView.hpp"

using namespace zeva;

TEST(Image, NamedSortIndicatorsAreShared) {
    auto up = Image::imageNamed(kAscendingSortIndicator), down = Image::imageNamed(kDescendingSortIndicator);
    EXPECT_TRUE(up && down && up != down && up == Image::imageNamed("NSAscendingSortIndicator"));
    EXPECT_EQ(Image::imageNamed("NSAscendingSortindicator"), nullptr);
}

namespace {

// Cells are the row number times the column's identifier; clicks are recorded.
struct Source : TableViewDataSource {
    int32_t numberOfRowsInTableView(TableView*) override { return 3; }
    Ref<String> tableView_objectValueForTableColumn_row(TableView*, const Ref<TableColumn>& column,
                                                        int32_t row) override {
        int id = column->identifier()->intValue();
        return id ? str(std::to_string(row * id)) : nullptr;
    }
    void tableView_mouseDownInHeaderOfTableColumn(TableView* table, const Ref<TableColumn>& column) override {
        clicks.emplace_back(table, column);
    }
    std::vector<std::pair<TableView*, Ref<TableColumn>>> clicks;
};

}  // namespace

TEST(MemoryTableView, ColumnsRowsSelectionAndIndicators) {
    MemoryTableView table;
    auto zero = table.addTableColumn("x", "Zero");
    auto ten = table.addTableColumn(TableColumn::columnWithIdentifier("10", "Ten"));
    EXPECT_EQ(table.tableColumns(), (std::vector<Ref<TableColumn>>{zero, ten}));
    EXPECT_EQ(table.tableColumnWithIdentifier("10"), ten);
    EXPECT_FALSE(table.selectRow(0));  // no data source, no rows
    EXPECT_EQ(table.tabSeparatedText(), "Zero\tTen\n");

    Source source;
    table.setDataSource(&source);
    EXPECT_EQ(table.tabSeparatedText(), "Zero\tTen\n\t0\n\t10\n\t20\n");
    EXPECT_EQ(table.selectedRow(), -1);
    EXPECT_EQ(std::make_tuple(table.selectRow(2), table.selectRow(3), table.selectRow(-2)),
              std::make_tuple(true, false, false));
    EXPECT_EQ(table.selectedRow(), 2);
    EXPECT_TRUE(table.selectRow(-1));

    // A column with the same identifier from elsewhere is not this table's:
    // no indicator and no click for it.
    auto stranger = TableColumn::columnWithIdentifier("10");
    auto up = Image::imageNamed(kAscendingSortIndicator);
    table.setIndicatorImage_inTableColumn(up, ten);
    table.setIndicatorImage_inTableColumn(nullptr, stranger);
    EXPECT_EQ(table.indicatorImageInTableColumn(ten), up);
    EXPECT_EQ(table.indicatorImageInTableColumn(zero), nullptr);
    table.setIndicatorImage_inTableColumn(nullptr, ten);
    EXPECT_EQ(table.indicatorImageInTableColumn(ten), nullptr);
    table.clickHeaderOfTableColumn(ten);
    table.clickHeaderOfTableColumn(stranger);
    ASSERT_EQ(source.clicks.size(), 1u);
    EXPECT_EQ(source.clicks[0], std::make_pair(static_cast<TableView*>(&table), ten));

    table.setNeedsDisplay(true);
    table.setNeedsDisplay(true);
    EXPECT_TRUE(table.needsDisplay());
    EXPECT_EQ(table.redrawRequests(), 2);
}
