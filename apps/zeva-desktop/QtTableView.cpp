#include "QtTableView.hpp"

#include <QHeaderView>
#include <QItemSelectionModel>

#include <algorithm>

namespace zeva::desktop {

namespace {
QString qtext(const Ref<String>& s) { return s ? QString::fromStdString(s->str()) : QString(); }
}  // namespace

// ------------------------------------------------------------------ model

DataSourceModel::DataSourceModel(QtTableView& table, QObject* parent) : QAbstractTableModel(parent), table_(table) {}

int DataSourceModel::rowCount(const QModelIndex& parent) const { return parent.isValid() ? 0 : rows_; }

int DataSourceModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(table_.columns_.size());
}

QVariant DataSourceModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || index.row() >= rows_ || index.column() >= columnCount()) return {};
    auto column = static_cast<size_t>(index.column());
    if (role == Qt::TextAlignmentRole) return QVariant(table_.alignments_[column].toInt());
    if (role != Qt::DisplayRole || !table_.dataSource_) return {};
    auto text = table_.dataSource_->tableView_objectValueForTableColumn_row(&table_, table_.columns_[column],
                                                                            index.row());
    return text ? QVariant(qtext(text).trimmed()) : QVariant();
}

QVariant DataSourceModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || section < 0 || section >= columnCount()) return {};
    auto column = static_cast<size_t>(section);
    if (role == Qt::DisplayRole) return qtext(table_.columns_[column]->headerTitle());
    if (role == Qt::TextAlignmentRole) return QVariant(table_.alignments_[column].toInt());
    return {};
}

int DataSourceModel::sourceRows() const {
    return table_.dataSource_ ? std::max(0, table_.dataSource_->numberOfRowsInTableView(&table_)) : 0;
}

void DataSourceModel::reset() {
    beginResetModel();
    rows_ = sourceRows();
    endResetModel();
}

void DataSourceModel::refresh() {
    if (sourceRows() != rows_) {
        reset();
        return;
    }
    if (rows_ > 0 && columnCount() > 0) emit dataChanged(index(0, 0), index(rows_ - 1, columnCount() - 1));
}

// ------------------------------------------------------------------ table

QtTableView::QtTableView(QTableView* view, QObject* parent)
    : QObject(parent), view_(view), model_(new DataSourceModel(*this, this)) {
    view_->setModel(model_);
    view_->setSortingEnabled(false);
    view_->setSelectionBehavior(QAbstractItemView::SelectRows);
    view_->setSelectionMode(QAbstractItemView::SingleSelection);
    view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    auto* header = view_->horizontalHeader();
    header->setSectionsClickable(true);
    header->setSortIndicatorShown(false);
    connect(header, &QHeaderView::sectionClicked, this, &QtTableView::headerClicked);
    connect(view_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { emit selectionChanged(selectedRow()); });
    connect(model_, &QAbstractItemModel::modelReset, this, [this] { emit selectionChanged(selectedRow()); });
}

Ref<TableColumn> QtTableView::addTableColumn(std::string_view identifier, std::string_view title,
                                             Qt::Alignment alignment) {
    auto column = TableColumn::columnWithIdentifier(identifier, title);
    columns_.push_back(column);
    indicators_.push_back(nullptr);
    alignments_.push_back(alignment);
    model_->reset();
    return column;
}

void QtTableView::setDataSource(TableViewDataSource* dataSource) {
    dataSource_ = dataSource;
    model_->reset();
}

long QtTableView::indexOf(const Ref<TableColumn>& column) const {
    for (size_t i = 0; i < columns_.size(); ++i)
        if (columns_[i] == column) return static_cast<long>(i);
    return -1;
}

Ref<Image> QtTableView::indicatorImageInTableColumn(const Ref<TableColumn>& column) const {
    long i = indexOf(column);
    return i < 0 ? nullptr : indicators_[static_cast<size_t>(i)];
}

void QtTableView::setIndicatorImage_inTableColumn(const Ref<Image>& image, const Ref<TableColumn>& column) {
    long i = indexOf(column);
    if (i < 0) return;
    indicators_[static_cast<size_t>(i)] = image;
    showIndicators();
}

void QtTableView::showIndicators() {
    auto* header = view_->horizontalHeader();
    auto ascending = Image::imageNamed(kAscendingSortIndicator);
    auto descending = Image::imageNamed(kDescendingSortIndicator);
    for (size_t i = 0; i < indicators_.size(); ++i) {
        if (indicators_[i] != ascending && indicators_[i] != descending) continue;
        header->setSortIndicator(static_cast<int>(i),
                                 indicators_[i] == ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
        header->setSortIndicatorShown(true);
        return;
    }
    header->setSortIndicatorShown(false);
}

void QtTableView::setNeedsDisplay(bool flag) {
    if (!flag) return;
    model_->refresh();
    view_->viewport()->update();
}

int32_t QtTableView::selectedRow() const {
    auto rows = view_->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.first().row();
}

void QtTableView::selectRow(int32_t row) {
    if (row < 0 || row >= model_->rowCount()) {
        view_->clearSelection();
        return;
    }
    view_->selectRow(row);
}

void QtTableView::headerClicked(int section) {
    // The header may have moved its own arrow on the click; the data source's
    // indicators are the ones that count.
    if (dataSource_ && section >= 0 && static_cast<size_t>(section) < columns_.size())
        dataSource_->tableView_mouseDownInHeaderOfTableColumn(this, columns_[static_cast<size_t>(section)]);
    showIndicators();
}

}  // namespace zeva::desktop
