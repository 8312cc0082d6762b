#include "addresscheck.h"

#include <QTest>

class TestAddressCheck : public QObject
{
    Q_OBJECT

private slots:
    void judges_data();
    void judges();
    void writesForTheWire_data();
    void writesForTheWire();
};

void TestAddressCheck::judges_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<bool>("usable");
    QTest::addColumn<bool>("wellShaped");
    const auto row = [](const QString &address, bool usable, bool wellShaped) {
        QTest::newRow(qPrintable(address.left(40).toHtmlEscaped()))
            << address << usable << wellShaped;
    };
    const QString longLabel(63, u'd');
    // Addresses without a blank, parted by one.
    const auto rows = [&row](const char *addresses, bool usable, bool wellShaped) {
        for (const QString &address : QString::fromUtf8(addresses).split(u' '))
            row(address, usable, wellShaped);
    };
    rows("a@example.org first.last+tag@mail.example.org !#$%&'*+-/=?^_`{|}~@x.org "
         "\"a.b@c\"@example.org \"a\\\"b\"@example.org a@[192.0.2.1] a@[IPv6:2001:db8::1] "
         "a@xn--bcher-kva.example info@bücher.example jörg@example.org \U0001f4e7@example.org",
         true, true);
    row(QStringLiteral(" a@example.org "), true, true);
    rows("postmaster a@localhost @example.org a@ a..b@example.org .a@example.org a.@example.org "
         "a@@example.org a,b@example.org a@-x.org a@x-.org a@x..org a@x_y.org a@example.org. "
         "\"a\"b\"@example.org \"a\\\"@example.org \"\"@example.org a@[300.0.2.1] a@[IPv6:xyz] "
         "a@[192.0.2.1",
         true, false);
    rows("<a@example.org> a@example.org> a@example.org\r\nDATA a@example.org\n a\tb@example.org "
         "a\x7f@example.org a\u2028@example.org a\u00a0b@example.org a@\u2026",
         false, false);
    for (const char *bad :
         {"", "  ", "a b@example.org", "a@example.org> SIZE=1", "a\xc2\x85@example.org"})
        row(QString::fromUtf8(bad), false, false);
    row(QStringLiteral("a@example.org") + QChar(0), false, false);
    row(QStringLiteral("a") + QChar(0xd800) + QStringLiteral("@example.org"), false, false);
    row(QString(64, u'a') + QStringLiteral("@example.org"), true, true);
    row(QString(65, u'a') + QStringLiteral("@example.org"), true, false);
    row(QString(33, QChar(0xe4)) + QStringLiteral("@example.org"), true, false);
    row(QStringLiteral("a@") + longLabel + QStringLiteral(".org"), true, true);
    row(QStringLiteral("a@d") + longLabel + QStringLiteral(".org"), true, false);
    const QString three = (longLabel + u'.').repeated(3);
    row(QStringLiteral("a@") + three + QString(60, u'e'), true, true);
    row(QStringLiteral("ab@") + three + QString(60, u'e'), true, false);
    row(QString(2000, u'a'), false, false);
}

void TestAddressCheck::judges()
{
    QFETCH(QString, address);
    QFETCH(bool, usable);
    QFETCH(bool, wellShaped);
    QCOMPARE(addressFault(address, AddressRules::Always).isEmpty(), usable);
    QCOMPARE(addressFault(address, AddressRules::Shape).isEmpty(), wellShaped);
}

void TestAddressCheck::writesForTheWire_data()
{
    QTest::addColumn<QString>("address");
    QTest::addColumn<QByteArray>("written");
    const auto row = [](const char *name, const char *address, const char *written) {
        QTest::newRow(name) << QString::fromUtf8(address) << QByteArray(written);
    };
    row("ASCII stays as it is", "A.B@Example.org", "A.B@Example.org");
    row("blanks around it go", " \u00a0a@example.org ", "a@example.org");
    row("a domain beyond ASCII", "info@Bücher.example", "info@xn--bcher-kva.example");
    row("a local part beyond ASCII", "jö@bücher.example", "jö@xn--bcher-kva.example");
    row("no domain", "jö", "jö");
}

void TestAddressCheck::writesForTheWire()
{
    QFETCH(QString, address);
    QFETCH(QByteArray, written);
    QCOMPARE(wireAddress(address), written);
}

QTEST_GUILESS_MAIN(TestAddressCheck)
#include "tst_addresscheck.moc"
