#include <QtTest>
class Dummy : public QObject { Q_OBJECT };
QTEST_MAIN(Dummy)
#include "test_main_window.moc"
