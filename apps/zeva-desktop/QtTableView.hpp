// zeva's TableView on a Qt QTableView.
//
// The data source (the event-list controller) answers the rows and cells
// through a model that asks it for every cell; a click on a column header
// goes to the data source, which sorts its own list and sets the header
// indicators. Qt itself never sorts. The indicators the data source sets are
// shown as the header's sort arrow, which the header draws itself: pointing
// up for ascending, in room of its own beside the title.
#pragma once

#include <QAbstractTableModel>
#include <QHeaderView>
#include <QTableView>

#include <functional>
#include <vector>

#include "zeva/platform/TableView.hpp"

namespace zeva::desktop {

class QtTableView;

// A horizontal header that draws its own sort arrow (up: ascending, down:
// descending) in a strip at the section's right edge that the title never
// uses, and asks for that strip's width when sized to its contents.
class SortArrowHeader : public QHeaderView {
    Q_OBJECT
public:
    explicit SortArrowHeader(QWidget* parent = nullptr);
    // section -1 shows no arrow.
    void setArrow(int section, bool ascending);
    int arrowSection() const { return arrowSection_; }
    bool arrowAscending() const { return arrowAscending_; }
    // Where the arrow of a section is drawn, in viewport coordinates.
    QRect arrowRect(int section) const;
    // The width the section's title needs, margins included.
    int titleWidth(int section) const;

protected:
    void paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const override;
    QSize sectionSizeFromContents(int logicalIndex) const override;

private:
    int arrowStrip() const;
    QRect arrowIn(const QRect& section) const;
    int arrowSection_ = -1;
    bool arrowAscending_ = true;
};

// The rows and cells of a QtTableView, as its data source gives them. The
// row count is read again only when the table is told to redraw, so that Qt
// never sees rows appear or vanish unannounced.
class DataSourceModel : public QAbstractTableModel {
    Q_OBJECT
public:
    explicit DataSourceModel(QtTableView& table, QObject* parent = nullptr);

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // Reads the row count again and tells the view that every cell may have
    // changed; a changed row count resets the view (and its selection).
    void refresh();
    // Reads columns and rows again; the view forgets its selection.
    void reset();

private:
    int sourceRows() const;

    QtTableView& table_;
    int rows_ = 0;
};

class QtTableView : public QObject, public zeva::TableView {
    Q_OBJECT
public:
    // Shows its rows in the view, which it sets up: one row selected at a
    // time, header clicks reported, Qt's own sorting off.
    explicit QtTableView(QTableView* view, QObject* parent = nullptr);

    // Columns go in before the data source is set.
    Ref<TableColumn> addTableColumn(std::string_view identifier, std::string_view title,
                                    Qt::Alignment alignment = Qt::AlignLeft | Qt::AlignVCenter);
    // Referenced, not owned.
    void setDataSource(TableViewDataSource* dataSource);
    TableViewDataSource* dataSource() const { return dataSource_; }
    QTableView* view() const { return view_; }
    SortArrowHeader* header() const { return header_; }
    DataSourceModel* model() const { return model_; }
    // The column whose header shows an arrow (-1: none) and its direction.
    int indicatedColumn(bool* ascending = nullptr) const;
    // Rows for which marked answers true are shown in bold (new events).
    void setRowMarker(std::function<bool(int)> marked) { marked_ = std::move(marked); }
    // Selects a row (-1 clears the selection).
    void selectRow(int32_t row);

    std::vector<Ref<TableColumn>> tableColumns() const override { return columns_; }
    Ref<Image> indicatorImageInTableColumn(const Ref<TableColumn>& column) const override;
    void setIndicatorImage_inTableColumn(const Ref<Image>& image, const Ref<TableColumn>& column) override;
    void setNeedsDisplay(bool flag) override;
    int32_t selectedRow() const override;

signals:
    // The selected row changed (-1: none).
    void selectionChanged(int row);

private:
    friend class DataSourceModel;
    long indexOf(const Ref<TableColumn>& column) const;
    void headerClicked(int section);
    // Shows the first column's indicator (in column order) as the header's
    // sort arrow; none when no column has one.
    void showIndicators();

    QTableView* view_;
    SortArrowHeader* header_;
    DataSourceModel* model_;
    TableViewDataSource* dataSource_ = nullptr;
    std::vector<Ref<TableColumn>> columns_;
    std::vector<Ref<Image>> indicators_;  // parallel to columns_
    std::vector<Qt::Alignment> alignments_;  // parallel to columns_
    std::function<bool(int)> marked_;
};

}  // namespace zeva::desktop
