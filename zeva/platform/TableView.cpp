#include "zeva/platform/TableView.hpp"

#include <map>
#include <mutex>

#include "zeva/platform/Format.hpp"

namespace zeva {

const Class& Image::staticClass() {
    static const Class cls("NSImage", &Object::staticClass(), nullptr);
    return cls;
}

Ref<Image> Image::imageNamed(std::string_view name) {
    static std::mutex mutex;
    static std::map<std::string, Ref<Image>, std::less<>> images;
    if (name != kAscendingSortIndicator && name != kDescendingSortIndicator) return nullptr;
    std::lock_guard<std::mutex> lock(mutex);
    auto it = images.find(name);
    if (it == images.end()) it = images.emplace(std::string(name), std::make_shared<Image>(std::string(name))).first;
    return it->second;
}

std::string Image::description() const { return format("<Image: %s>", name_.c_str()); }

const Class& TableColumn::staticClass() {
    static const Class cls("NSTableColumn", &Object::staticClass(),
                           [] { return ObjectRef(std::make_shared<TableColumn>()); });
    return cls;
}

Ref<TableColumn> TableColumn::columnWithIdentifier(std::string_view identifier, std::string_view title) {
    return std::make_shared<TableColumn>(str(identifier), title.empty() ? nullptr : str(title));
}

std::string TableColumn::description() const { return format("<TableColumn: %@>", identifier_); }

Ref<TableColumn> MemoryTableView::addTableColumn(const Ref<TableColumn>& column) {
    if (!column) return nullptr;
    columns_.push_back(column);
    indicators_.push_back(nullptr);
    return column;
}

Ref<TableColumn> MemoryTableView::addTableColumn(std::string_view identifier, std::string_view title) {
    return addTableColumn(TableColumn::columnWithIdentifier(identifier, title));
}

Ref<TableColumn> MemoryTableView::tableColumnWithIdentifier(std::string_view identifier) const {
    for (const auto& c : columns_)
        if (c->identifier() && c->identifier()->str() == identifier) return c;
    return nullptr;
}

long MemoryTableView::indexOf(const Ref<TableColumn>& column) const {
    for (size_t i = 0; i < columns_.size(); ++i)
        if (columns_[i] == column) return static_cast<long>(i);
    return -1;
}

Ref<Image> MemoryTableView::indicatorImageInTableColumn(const Ref<TableColumn>& column) const {
    long i = indexOf(column);
    return i < 0 ? nullptr : indicators_[static_cast<size_t>(i)];
}

void MemoryTableView::setIndicatorImage_inTableColumn(const Ref<Image>& image, const Ref<TableColumn>& column) {
    long i = indexOf(column);
    if (i >= 0) indicators_[static_cast<size_t>(i)] = image;
}

void MemoryTableView::setNeedsDisplay(bool flag) {
    needsDisplay_ = flag;
    if (flag) ++redrawRequests_;
}

bool MemoryTableView::selectRow(int32_t row) {
    if (row < -1 || (row >= 0 && row >= numberOfRows())) return false;
    selectedRow_ = row;
    return true;
}

void MemoryTableView::clickHeaderOfTableColumn(const Ref<TableColumn>& column) {
    if (dataSource_ && indexOf(column) >= 0) dataSource_->tableView_mouseDownInHeaderOfTableColumn(this, column);
}

int32_t MemoryTableView::numberOfRows() { return dataSource_ ? dataSource_->numberOfRowsInTableView(this) : 0; }

Ref<String> MemoryTableView::cellText(int32_t row, const Ref<TableColumn>& column) {
    return dataSource_ ? dataSource_->tableView_objectValueForTableColumn_row(this, column, row) : nullptr;
}

std::string MemoryTableView::tabSeparatedText() {
    std::string out;
    for (size_t i = 0; i < columns_.size(); ++i) {
        if (i) out += '\t';
        out += textOf(columns_[i]->headerTitle());
    }
    out += '\n';
    int32_t rows = numberOfRows();
    for (int32_t r = 0; r < rows; ++r) {
        for (size_t i = 0; i < columns_.size(); ++i) {
            if (i) out += '\t';
            out += textOf(cellText(r, columns_[i]));
        }
        out += '\n';
    }
    return out;
}

}  // namespace zeva
