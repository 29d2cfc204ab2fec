// The controller as the event table's data source: cell texts, header
// clicks, sort order and indicators.
#include <algorithm>
#include <climits>

#include "feed/feed_support.hpp"

using namespace feedtest;

namespace {

// Keys are a different permutation of the rows for every column.
const OriginRow kRows[] = {
    {"a", 1330990300, 10.0f, -170.1f, 10.0f, 5.3f, "Fiji Islands region (South Pacific)"},
    {"b", 1330990100, -20.0f, 179.0f, 600.0f, 7.1f, "Central Alaska (Alaska)"},
    {"c", 1330990500, 5.0f, 0.0f, 0.5f, 6.0f, "Southern Peru (Peru)"},
    {"d", 1330990200, -80.0f, -5.0f, 33.0f, 5.0f, "Near coast of northern Chile (Chile)"},
    {"e", 1330990400, 60.0f, 30.0f, 100.0f, 8.8f, "Alaska Peninsula (Alaska)"},
};

class EventTableTest : public ::testing::Test {
protected:
    void SetUp() override {
        controller_ = NEIC_QueryController::create();
        table_ = std::make_unique<EventTable>(*controller_);
        for (const auto& r : kRows) add(r);
    }
    void add(const OriginRow& r) { controller_->getSeismicOriginsPointer()->addObject(origin(r)); }

    std::string order() const {
        std::string out;
        for (const auto& o : *controller_->getSeismicOriginsPointer())
            out += text(std::dynamic_pointer_cast<ZEVAOrigin>(o)->_id());
        return out;
    }
    void click(const zeva::Ref<zeva::TableColumn>& c) { table_->table.clickHeaderOfTableColumn(c); }
    void click(int n) { click(table_->column(n)); }
    // The columns that show an indicator, as "n:a" / "n:d" (n = 0 for one
    // outside the nine).
    std::string indicators() const {
        std::string out;
        for (const auto& c : table_->table.tableColumns()) {
            auto image = table_->table.indicatorImageInTableColumn(c);
            if (!image) continue;
            out += std::to_string(c->identifier()->intValue()) + (image == up_ ? ":a " : image == down_ ? ":d " : ":? ");
        }
        return out;
    }

    const zeva::Ref<zeva::Image> up_ = zeva::Image::imageNamed(zeva::kAscendingSortIndicator);
    const zeva::Ref<zeva::Image> down_ = zeva::Image::imageNamed(zeva::kDescendingSortIndicator);
    zeva::Ref<NEIC_QueryController> controller_;
    std::unique_ptr<EventTable> table_;
};

}  // namespace

// Each header sorts ascending first (whatever another column showed), then
// toggles; one indicator at a time and one redraw per sorting click.
TEST_F(EventTableTest, EverySortableColumnOrdersRows) {
    const std::pair<int, const char*> cases[] = {
        {1, "bdaec"},  // time
        {3, "dbcae"},  // latitude
        {4, "adceb"},  // longitude
        {5, "cadeb"},  // depth: the shallowest first
        {6, "dacbe"},  // magnitude
        {9, "ebadc"},  // region text
    };
    int redraws = 0;
    for (const auto& [column, ascending] : cases) {
        std::string descending(ascending);
        std::reverse(descending.begin(), descending.end());
        for (const auto& [want, mark] : {std::pair{std::string(ascending), ":a "}, {descending, ":d "}, {ascending, ":a "}}) {
            click(column);
            EXPECT_EQ(order(), want) << "column " << column;
            EXPECT_EQ(indicators(), std::to_string(column) + mark);
            EXPECT_EQ(table_->table.redrawRequests(), ++redraws);
        }
    }
}

// Equal keys keep their previous order (c before f throughout). Without a
// table view a click still sorts (ascending, as no indicator can be read);
// only the calls to the table are skipped.
TEST_F(EventTableTest, EqualKeysKeepTheirOrderAndClicksWithoutAView) {
    add({"f", 1330990600, 0.0f, 0.0f, 1.0f, 6.0f, "Tonga Islands (Tonga)"});  // ties with c
    for (const char* expected : {"dacfbe", "ebcfad", "dacfbe"}) {
        click(6);
        EXPECT_EQ(order(), expected);
    }
    controller_->setEventTableView(nullptr);
    controller_->tableView_mouseDownInHeaderOfTableColumn(nullptr, table_->column(5));
    EXPECT_EQ(order(), "cfadeb");
    EXPECT_EQ(indicators(), "6:a ");
}

// Catalogue, contributor, identifier and unknown columns do not sort, but
// their header still shows the indicator (and clears the others).
TEST_F(EventTableTest, NonSortableColumnsKeepOrder) {
    auto odd = table_->table.addTableColumn("x");
    for (int n : {2, 7, 8, 0}) {
        click(6);
        click(6);
        const std::string before = order();
        const int redraws = table_->table.redrawRequests();
        const auto& column = n ? table_->column(n) : odd;
        click(column);
        EXPECT_EQ(order(), before) << n;
        EXPECT_EQ(table_->table.redrawRequests(), redraws) << n;
        EXPECT_EQ(indicators(), std::to_string(n) + ":a ");
        click(column);
        EXPECT_EQ(order(), before) << n;
        EXPECT_EQ(indicators(), std::to_string(n) + ":d ");
    }
    controller_->clearTableSortImages();
    EXPECT_EQ(indicators(), "");
}

TEST_F(EventTableTest, CellTexts) {
    controller_->getSeismicOriginsPointer()->removeAllObjects();
    add({"us123", 1330990200, -33.4567f, -170.1f, 10.0f, 5.3f, "Central Chile (Chile)"});
    add({"us124", 1330990200.25, 5.0f, 7.25f, 123.45f, 10.0f, "Fiji Islands region"});
    auto& t = table_->table;
    EXPECT_EQ(t.tabSeparatedText(),
              "1\t2\t3\t4\t5\t6\t7\t8\t9\n"
              "2012-03-05T23:30:00.0000Z\tPDE\t-33.457\t-170.100\t 10.0\t 5.30\tUSGS\tus123\tCentral Chile \n"
              "2012-03-05T23:30:00.2500Z\tPDE\t  5.000\t   7.250\t123.4\t10.00\tUSGS\tus124\tFiji Islands region\n");
    for (const char* id : {"0", "10", "-6", "x"})
        EXPECT_EQ(text(t.cellText(0, zeva::TableColumn::columnWithIdentifier(id))), "NA") << "'" << id << "'";
    EXPECT_EQ(text(t.cellText(0, std::make_shared<zeva::TableColumn>())), "NA");
    for (int32_t row : {-1, 2, INT_MAX, INT_MIN}) EXPECT_EQ(t.cellText(row, table_->column(1)), nullptr) << row;

    controller_->getSeismicOriginsPointer()->removeAllObjects();
    EXPECT_EQ(t.tabSeparatedText(), "1\t2\t3\t4\t5\t6\t7\t8\t9\n");
    click(6);  // sorting nothing is harmless
    EXPECT_EQ(indicators(), "6:a ");
}
