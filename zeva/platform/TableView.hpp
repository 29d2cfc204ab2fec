// The table that shows a list of rows, in toolkit-neutral form.
//
// TableView is what a data source may ask of a table: its columns, each
// column's header indicator image, a redraw request and the selected row. A
// host adapts its toolkit's table to it; MemoryTableView is a complete table
// without a screen, for the command line and the tests.
//
// TableViewDataSource is the other side: the object that owns the rows
// answers the row count and the cell texts and hears about header clicks.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "zeva/platform/Object.hpp"
#include "zeva/platform/Text.hpp"

namespace zeva {

// An image known by name. imageNamed answers the same object every time for
// one name, so images may be compared by identity; it knows the two sort
// indicators and answers null for other names.
class Image : public Object {
public:
    explicit Image(std::string name) : name_(std::move(name)) {}

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<Image> imageNamed(std::string_view name);

    const std::string& name() const { return name_; }
    std::string description() const override;

private:
    std::string name_;
};

inline constexpr std::string_view kAscendingSortIndicator = "NSAscendingSortIndicator";
inline constexpr std::string_view kDescendingSortIndicator = "NSDescendingSortIndicator";

// A column: an identifier (the data source recognises columns by it) and a
// header title.
class TableColumn : public Object {
public:
    TableColumn() = default;
    explicit TableColumn(Ref<String> identifier, Ref<String> title = nullptr)
        : identifier_(std::move(identifier)), title_(std::move(title)) {}

    static const Class& staticClass();
    const Class& objectClass() const override { return staticClass(); }

    static Ref<TableColumn> columnWithIdentifier(std::string_view identifier, std::string_view title = {});

    Ref<String> identifier() const { return identifier_; }
    void setIdentifier(const Ref<String>& identifier) { setCopiedText(identifier_, identifier); }
    // The header text; the identifier when no title was given.
    Ref<String> headerTitle() const { return title_ ? title_ : identifier_; }
    void setHeaderTitle(const Ref<String>& title) { setCopiedText(title_, title); }

    std::string description() const override;

private:
    Ref<String> identifier_;
    Ref<String> title_;
};

class TableView {
public:
    virtual ~TableView() = default;

    // The columns in display order.
    virtual std::vector<Ref<TableColumn>> tableColumns() const = 0;
    // The indicator image in the column's header, null when there is none.
    virtual Ref<Image> indicatorImageInTableColumn(const Ref<TableColumn>& column) const = 0;
    // Shows the image in the column's header; null removes it. Columns that
    // are not this table's are ignored.
    virtual void setIndicatorImage_inTableColumn(const Ref<Image>& image, const Ref<TableColumn>& column) = 0;
    // Asks for the table to be drawn again (its rows may have changed).
    virtual void setNeedsDisplay(bool flag) = 0;
    // The selected row, -1 when no row is selected.
    virtual int32_t selectedRow() const = 0;
};

class TableViewDataSource {
public:
    virtual ~TableViewDataSource() = default;

    virtual int32_t numberOfRowsInTableView(TableView* tableView) = 0;
    // The text of one cell, null when there is none.
    virtual Ref<String> tableView_objectValueForTableColumn_row(TableView* tableView, const Ref<TableColumn>& column,
                                                                int32_t row) = 0;
    // The user clicked the column's header.
    virtual void tableView_mouseDownInHeaderOfTableColumn(TableView* tableView, const Ref<TableColumn>& column) = 0;
};

// A table held in memory: columns, indicators, the selection and a count of
// redraw requests, with the data source asked for rows on demand.
class MemoryTableView : public TableView {
public:
    MemoryTableView() = default;

    // Appends a column; answers it.
    Ref<TableColumn> addTableColumn(const Ref<TableColumn>& column);
    Ref<TableColumn> addTableColumn(std::string_view identifier, std::string_view title = {});
    // The first column with that identifier, or null.
    Ref<TableColumn> tableColumnWithIdentifier(std::string_view identifier) const;

    // The data source is referenced, not owned; it must outlive its use here.
    void setDataSource(TableViewDataSource* dataSource) { dataSource_ = dataSource; }
    TableViewDataSource* dataSource() const { return dataSource_; }

    // Selects a row (-1 for none). Answers false, changing nothing, for a
    // row the data source does not have.
    bool selectRow(int32_t row);
    // What a click on the header does: tells the data source.
    void clickHeaderOfTableColumn(const Ref<TableColumn>& column);

    // Rows and cells as the data source gives them (0 rows and null cells
    // without one).
    int32_t numberOfRows();
    Ref<String> cellText(int32_t row, const Ref<TableColumn>& column);
    // Header titles, then one line per row: the cells separated by tabs,
    // each line ending in a line feed; a null cell is empty.
    std::string tabSeparatedText();

    // How many times a redraw was asked for, and whether one is pending.
    int redrawRequests() const { return redrawRequests_; }
    bool needsDisplay() const { return needsDisplay_; }
    void clearNeedsDisplay() { needsDisplay_ = false; }

    std::vector<Ref<TableColumn>> tableColumns() const override { return columns_; }
    Ref<Image> indicatorImageInTableColumn(const Ref<TableColumn>& column) const override;
    void setIndicatorImage_inTableColumn(const Ref<Image>& image, const Ref<TableColumn>& column) override;
    void setNeedsDisplay(bool flag) override;
    int32_t selectedRow() const override { return selectedRow_; }

private:
    long indexOf(const Ref<TableColumn>& column) const;

    std::vector<Ref<TableColumn>> columns_;
    std::vector<Ref<Image>> indicators_;  // parallel to columns_
    TableViewDataSource* dataSource_ = nullptr;
    int32_t selectedRow_ = -1;
    int redrawRequests_ = 0;
    bool needsDisplay_ = false;
};

}  // namespace zeva
