#include "QtTableView.hpp"

#include <QHeaderView>
#include <QItemSelectionModel>
#include <QPainter>
#include <QStyleOptionHeader>

#include <algorithm>

namespace zeva::desktop {

namespace {
QString qtext(const Ref<String>& s) { return s ? QString::fromStdString(s->str()) : QString(); }
}  // namespace

// ------------------------------------------------------------------ header

SortArrowHeader::SortArrowHeader(QWidget* parent) : QHeaderView(Qt::Horizontal, parent) {}

void SortArrowHeader::setArrow(int section, bool ascending) {
    arrowSection_ = section;
    arrowAscending_ = ascending;
    viewport()->update();
}

int SortArrowHeader::arrowStrip() const { return fontMetrics().height(); }

QRect SortArrowHeader::arrowIn(const QRect& section) const {
    int strip = arrowStrip();
    return {section.right() - strip + 1, section.top(), strip, section.height()};
}

QRect SortArrowHeader::arrowRect(int section) const {
    return arrowIn({sectionViewportPosition(section), 0, sectionSize(section), height()});
}

int SortArrowHeader::titleWidth(int section) const {
    QStyleOptionHeader opt;
    initStyleOptionForIndex(&opt, section);
    int margin = style()->pixelMetric(QStyle::PM_HeaderMargin, &opt, this);
    return fontMetrics().horizontalAdvance(opt.text) + 2 * margin;
}

QSize SortArrowHeader::sectionSizeFromContents(int logicalIndex) const {
    QSize size = QHeaderView::sectionSizeFromContents(logicalIndex);
    // Room for the title and the arrow strip, whether the style would have
    // reserved room for its own arrow or not.
    size.setWidth(std::max(size.width(), titleWidth(logicalIndex) + arrowStrip()));
    return size;
}

void SortArrowHeader::paintSection(QPainter* painter, const QRect& rect, int logicalIndex) const {
    if (!rect.isValid()) return;
    QStyleOptionHeader opt;
    initStyleOption(&opt);
    initStyleOptionForIndex(&opt, logicalIndex);
    opt.rect = rect;
    opt.sortIndicator = QStyleOptionHeader::None;
    painter->save();
    style()->drawControl(QStyle::CE_HeaderSection, &opt, painter, this);
    opt.rect = rect.adjusted(0, 0, -arrowStrip(), 0);
    style()->drawControl(QStyle::CE_HeaderLabel, &opt, painter, this);
    if (logicalIndex == arrowSection_) {
        QRectF box = arrowIn(rect);
        double half = box.width() * 0.3, x = box.center().x(), y = box.center().y();
        QPolygonF arrow;
        if (arrowAscending_)
            arrow << QPointF(x - half, y + half * 0.6) << QPointF(x + half, y + half * 0.6) << QPointF(x, y - half * 0.6);
        else
            arrow << QPointF(x - half, y - half * 0.6) << QPointF(x + half, y - half * 0.6) << QPointF(x, y + half * 0.6);
        painter->setRenderHint(QPainter::Antialiasing);
        painter->setPen(Qt::NoPen);
        painter->setBrush(palette().color(QPalette::ButtonText));
        painter->drawPolygon(arrow);
    }
    painter->restore();
}

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
    if (role == Qt::FontRole && table_.marked_ && table_.marked_(index.row())) {
        QFont bold = table_.view_->font();
        bold.setBold(true);
        return bold;
    }
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
    : QObject(parent), view_(view), header_(new SortArrowHeader(view)), model_(new DataSourceModel(*this, this)) {
    view_->setHorizontalHeader(header_);
    view_->setModel(model_);
    view_->setSortingEnabled(false);
    view_->setSelectionBehavior(QAbstractItemView::SelectRows);
    view_->setSelectionMode(QAbstractItemView::SingleSelection);
    view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    header_->setSectionsClickable(true);
    header_->setHighlightSections(false);
    header_->setSortIndicatorShown(false);
    connect(header_, &QHeaderView::sectionClicked, this, &QtTableView::headerClicked);
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
    auto ascending = Image::imageNamed(kAscendingSortIndicator);
    auto descending = Image::imageNamed(kDescendingSortIndicator);
    for (size_t i = 0; i < indicators_.size(); ++i) {
        if (indicators_[i] != ascending && indicators_[i] != descending) continue;
        header_->setArrow(static_cast<int>(i), indicators_[i] == ascending);
        return;
    }
    header_->setArrow(-1, true);
}

int QtTableView::indicatedColumn(bool* ascending) const {
    if (ascending) *ascending = header_->arrowAscending();
    return header_->arrowSection();
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
