#include "platform/bundles/FileBundleFolders.h"
#include "platform/bundles/PlistBundleReader.h"
#include "platform/bundles/PlistGuard.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <memory>
#include <random>

#include <fcntl.h>
#include <plist/plist.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace vantorel;

Q_DECLARE_METATYPE(std::optional<QString>)

class TestPlistBundleReader : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void values_areReadFromXmlAndBinary_data();
    void values_areReadFromXmlAndBinary();
    void values_thatAreMissingOrNoText_areAbsent_data();
    void values_thatAreMissingOrNoText_areAbsent();
    void bundle_withoutAReadableFile_isNone();
    void bundle_behindSymbolicLinks_isRead();
    void bundle_pipeOrDeviceInPlaceOfTheFile_isNone_andNobodyWaits();
    void bundle_tooLarge_isNone();
    void bundle_brokenXml_isNone_data();
    void bundle_brokenXml_isNone();
    void xml_inDoubt_isNotAdmitted_data();
    void xml_inDoubt_isNotAdmitted();
    void bundle_unusualXml_isRead_data();
    void bundle_unusualXml_isRead();
    void bundle_nestedXml_isReadUpToTheBound();
    void bundle_brokenBinary_isNone_data();
    void bundle_brokenBinary_isNone();
    void bundle_nestedBinary_isReadUpToTheBound();
    void bundle_sharedObjects_areReadUpToTheBound();
    void bundle_cutAnywhere_isNone_data();
    void bundle_cutAnywhere_isNone();
    void bundle_changedAnyhow_neverCrashes_andYieldsText_data();
    void bundle_changedAnyhow_neverCrashes_andYieldsText();
    void xml_thatIsAdmitted_isNestedNoDeeperForLibplist();
    void entries_areWhatLiesInTheFolder();
    void entries_ofNoFolder_areNone();
    void folders_areThoseGiven();

private:
    QString location() const { return m_folder->filePath("Some.app"); }
    QString file() const { return location() + "/Contents/Info.plist"; }
    void write(const QByteArray& bytes) const;
    std::optional<BundleInfo> read() const { return PlistBundleReader().bundleAt(location()); }
    std::optional<BundleInfo> read(const QByteArray& bytes) const;

    std::unique_ptr<QTemporaryDir> m_folder;
};

namespace {

const QByteArray kStart = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                          "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                          "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                          "<plist version=\"1.0\">\n";
const QByteArray kEnd = "</plist>\n";

QByteArray xml(const QByteArray& body) {
    return kStart + body + kEnd;
}

QByteArray dictionary(const QByteArray& entries) {
    return xml("<dict>" + entries + "</dict>");
}

QByteArray named(const QByteArray& string) {
    return dictionary("<key>CFBundleName</key><string>" + string + "</string>");
}

// A list as an application ships it.
QByteArray wholeXml() {
    return dictionary("<key>CFBundleIdentifier</key><string>com.example.some</string>\n"
                      "<key>CFBundleDisplayName</key><string>Some &amp; Søme \xf0\x9f\x98\x80</string>\n"
                      "<key>CFBundleName</key><string>Some</string>\n"
                      "<key>CFBundleIconFile</key><string>Some.icns</string>\n"
                      "<key>LSRequiresCarbon</key><true/>\n"
                      "<key>Count</key><integer>3</integer><key>Part</key><real>0.5</real>\n"
                      "<key>Built</key><date>2024-01-02T03:04:05Z</date><key>Bytes</key><data>AAEC</data>\n"
                      "<key>CFBundleURLTypes</key><array><dict>\n"
                      "<key>CFBundleURLName</key><string>Web</string>\n"
                      "<key>CFBundleURLSchemes</key><array><string>http</string><string>https</string></array>\n"
                      "</dict></array>\n");
}

// The same as another writer of binary lists (Python's plistlib) puts it down.
QByteArray wholeBinary() {
    return QByteArray::fromHex(
        "62706c6973743030da0102030405060708090a0b0c0d0e0f1011191a1b554275696c745542797465735f1013434642756e64"
        "6c65446973706c61794e616d655f1010434642756e646c6549636f6e46696c655f1012434642756e646c654964656e746966"
        "6965725c434642756e646c654e616d655f1010434642756e646c6555524c547970657355436f756e745f10104c5352657175"
        "69726573436172626f6e54506172743341c5a1da52800000430001026e0053006f006d0065002000260020005300f8006d00"
        "650020d83dde0059536f6d652e69636e735f1010636f6d2e6578616d706c652e736f6d6554536f6d65a112d2131415165f10"
        "0f434642756e646c6555524c4e616d655f1012434642756e646c6555524c536368656d657353576562a21718546874747055"
        "6874747073100309233fe00000000000000008001d00230029003f0052006700740087008d00a000a500ae00b200cf00d900"
        "ec00f100f300f8010a011f01230126012b0131013301340000000000000201000000000000001c0000000000000000000000"
        "000000013d");
}

QByteArray toBinary(const QByteArray& list) {
    plist_t root = nullptr;
    plist_from_xml(list.constData(), uint32_t(list.size()), &root);
    char* bytes = nullptr;
    uint32_t length = 0;
    plist_to_bin(root, &bytes, &length);
    const QByteArray result(bytes, length);
    plist_to_bin_free(bytes);
    plist_free(root);
    return result;
}

QByteArray bigEndian(quint64 value, int bytes) {
    QByteArray result;
    while (bytes-- > 0)
        result += char(value >> (8 * bytes));
    return result;
}

struct Trailer {
    std::optional<quint64> offsetSize = {};
    std::optional<quint64> referenceSize = {};
    std::optional<quint64> count = {};
    std::optional<quint64> root = {};
    std::optional<quint64> table = {};
};

// A binary list of these objects, the first one its root; offsets and references take four bytes each.
QByteArray binary(const QByteArrayList& objects, const Trailer& trailer = {}) {
    QByteArray list = "bplist00";
    QByteArray offsets;
    for (const QByteArray& object : objects) {
        offsets += bigEndian(quint64(list.size()), 4);
        list += object;
    }
    const quint64 table = quint64(list.size());
    return list + offsets + QByteArray(6, 0) + bigEndian(trailer.offsetSize.value_or(4), 1)
        + bigEndian(trailer.referenceSize.value_or(4), 1)
        + bigEndian(trailer.count.value_or(quint64(objects.size())), 8) + bigEndian(trailer.root.value_or(0), 8)
        + bigEndian(trailer.table.value_or(table), 8);
}

QByteArray marker(int kind, quint64 length) {
    return QByteArray(1, char(kind << 4 | 0xf)) + '\x12' + bigEndian(length, 4);
}

QByteArray ascii(const QByteArray& text) {
    return marker(0x5, quint64(text.size())) + text;
}

QByteArray utf16(const QList<quint16>& units) {
    QByteArray object = marker(0x6, quint64(units.size()));
    for (const quint16 unit : units)
        object += bigEndian(unit, 2);
    return object;
}

QByteArray array(const QList<quint32>& references) {
    QByteArray object = marker(0xa, quint64(references.size()));
    for (const quint32 reference : references)
        object += bigEndian(reference, 4);
    return object;
}

QByteArray map(const QList<quint32>& keys, const QList<quint32>& values) {
    QByteArray object = marker(0xd, quint64(keys.size()));
    for (const quint32 reference : keys + values)
        object += bigEndian(reference, 4);
    return object;
}

// A binary list with the name "Some" and one more value, which is object 4; `more` are the objects from there on.
QByteArray binaryWith(const QByteArrayList& more) {
    return binary(QByteArrayList{map({1, 3}, {2, 4}), ascii("CFBundleName"), ascii("Some"), ascii("CFBundleIdentifier")}
                  + more);
}

// Arrays from object 4 on, `count` of them, each in the one before it and the last one empty.
QByteArrayList nestedArrays(int count) {
    QByteArrayList objects;
    for (int i = 1; i <= count; ++i)
        objects += i < count ? array({quint32(4 + i)}) : array({});
    return objects;
}

// Arrays from object 4 on, each of which holds the next one `times` times.
QByteArrayList sharedArrays(int levels, int times) {
    QByteArrayList objects;
    for (int i = 1; i <= levels; ++i)
        objects += array(QList<quint32>(times, quint32(4 + i)));
    return objects += ascii("x");
}

int heightOf(plist_t node) {
    int highest = 0;
    if (plist_get_node_type(node) == PLIST_ARRAY) {
        for (uint32_t i = 0; i < plist_array_get_size(node); ++i)
            highest = std::max(highest, heightOf(plist_array_get_item(node, i)));
    } else if (plist_get_node_type(node) == PLIST_DICT) {
        plist_dict_iter position = nullptr;
        plist_dict_new_iter(node, &position);
        for (;;) {
            plist_t value = nullptr;
            plist_dict_next_item(node, position, nullptr, &value);
            if (!value)
                break;
            highest = std::max(highest, heightOf(value));
        }
        free(position);
    }
    return highest + 1;
}

} // namespace

void TestPlistBundleReader::init() {
    m_folder = std::make_unique<QTemporaryDir>();
    QVERIFY(m_folder->isValid());
    QVERIFY(QDir().mkpath(location() + "/Contents"));
}

void TestPlistBundleReader::write(const QByteArray& bytes) const {
    QFile out(file());
    QVERIFY(out.open(QIODevice::WriteOnly));
    QCOMPARE(out.write(bytes), bytes.size());
}

std::optional<BundleInfo> TestPlistBundleReader::read(const QByteArray& bytes) const {
    write(bytes);
    return read();
}

void TestPlistBundleReader::values_areReadFromXmlAndBinary_data() {
    QTest::addColumn<QByteArray>("list");
    QTest::newRow("XML") << wholeXml();
    QTest::newRow("binary") << wholeBinary();
    QTest::newRow("binary of libplist") << toBinary(wholeXml());
}

void TestPlistBundleReader::values_areReadFromXmlAndBinary() {
    QFETCH(const QByteArray, list);
    const auto info = read(list);
    QVERIFY(info);
    QCOMPARE(info->identifier, std::optional<QString>("com.example.some"));
    QCOMPARE(info->displayName, std::optional<QString>("Some & Søme \U0001F600"));
    QCOMPARE(info->name, std::optional<QString>("Some"));
    QCOMPARE(info->icon, QString());
}

void TestPlistBundleReader::values_thatAreMissingOrNoText_areAbsent_data() {
    using Value = std::optional<QString>;
    QTest::addColumn<QByteArray>("list");
    QTest::addColumn<Value>("identifier");
    QTest::addColumn<Value>("displayName");
    QTest::addColumn<Value>("name");
    const auto row = [](const char* title, const QByteArray& list, const Value& identifier, const Value& displayName,
                        const Value& name) {
        QTest::addRow("%s, XML", title) << list << identifier << displayName << name;
        QTest::addRow("%s, binary", title) << toBinary(list) << identifier << displayName << name;
    };
    const auto three = [](const QByteArray& a, const QByteArray& b, const QByteArray& c) {
        return dictionary("<key>CFBundleIdentifier</key>" + a + "<key>CFBundleDisplayName</key>" + b
                          + "<key>CFBundleName</key>" + c);
    };
    const QByteArray text = "<string>a</string>";
    row("nothing", dictionary(""), {}, {}, {});
    row("others", dictionary("<key>cfbundlename</key>" + text), {}, {}, {});
    row("only the name", named("a"), {}, {}, "a");
    row("all empty", three("<string></string>", "<string/>", "<string></string>"), {}, "", "");
    row("spaces", three("<string> </string>", "<string> a </string>", text), " ", " a ", "a");
    row("number", three("<integer>1</integer>", text, text), {}, "a", "a");
    row("switch", three(text, "<true/>", "<false/>"), "a", {}, {});
    row("date and bytes", three("<date>2024-01-02T03:04:05Z</date>", text, "<data>AAEC</data>"), {}, "a", {});
    row("list and dictionary", three("<array>" + text + "</array>", text, "<dict/>"), {}, "a", {});

    // libplist does not write these down as they are.
    QTest::newRow("no UTF-8, XML") << three("<string>a\xff</string>", text, "<string>\xc3</string>") << Value()
                                   << Value("a") << Value();
    QTest::newRow("no UTF-8, binary") << binaryWith({ascii("a\xff")}) << Value() << Value() << Value("Some");
    QTest::newRow("too long a form, XML")
        << three("<string>\xc0\xaf</string>", text, text) << Value() << Value("a") << Value("a");
    QTest::newRow("too long a form, binary") << binaryWith({ascii("\xc0\xaf")}) << Value() << Value() << Value("Some");
    const QString marked = QStringLiteral("\ufeff") + u'a'; // a character like any other
    QTest::newRow("byte order mark in front, XML") << three("<string>\xef\xbb\xbf"
                                                            "a</string>",
                                                            text, "<string>&#xFEFF;a</string>")
                                                   << Value(marked) << Value("a") << Value(marked);
    QTest::newRow("byte order mark in front, binary")
        << binaryWith({utf16({0xfeff, 'a'})}) << Value(marked) << Value() << Value("Some");
    QTest::newRow("half a pair, XML") << three(text, "<string>a&#xD800;b</string>", text) << Value("a") << Value()
                                      << Value("a");
    QTest::newRow("pair, binary") << binaryWith({utf16({'a', 0xd83d, 0xde00})}) << Value("a\U0001F600") << Value()
                                  << Value("Some");
}

void TestPlistBundleReader::values_thatAreMissingOrNoText_areAbsent() {
    QFETCH(const QByteArray, list);
    QFETCH(const std::optional<QString>, identifier);
    QFETCH(const std::optional<QString>, displayName);
    QFETCH(const std::optional<QString>, name);
    const auto info = read(list);
    QVERIFY(info);
    QCOMPARE(info->identifier, identifier);
    QCOMPARE(info->displayName, displayName);
    QCOMPARE(info->name, name);
}

void TestPlistBundleReader::bundle_withoutAReadableFile_isNone() {
    QVERIFY(!PlistBundleReader().bundleAt(m_folder->filePath("Other.app")));
    QVERIFY(!PlistBundleReader().bundleAt(QString()));
    QVERIFY(!read());

    QVERIFY(QDir().mkdir(file()));
    QVERIFY(!read());
    QVERIFY(QDir().rmdir(file()));

    QVERIFY(read(wholeXml()));
    if (geteuid() != 0) { // nothing is unreadable for root
        QCOMPARE(chmod(QFile::encodeName(file()).constData(), 0), 0);
        QVERIFY(!read());
    }
    QVERIFY(QFile::remove(file()));
    QCOMPARE(symlink("nowhere", QFile::encodeName(file()).constData()), 0);
    QVERIFY(!read());
}

void TestPlistBundleReader::bundle_behindSymbolicLinks_isRead() {
    write(wholeXml());
    const QString link = m_folder->filePath("Link ü.app");
    QVERIFY(QFile::link(location(), link));
    const auto info = PlistBundleReader().bundleAt(link);
    QVERIFY(info);
    QCOMPARE(info->name, std::optional<QString>("Some"));
}

void TestPlistBundleReader::bundle_pipeOrDeviceInPlaceOfTheFile_isNone_andNobodyWaits() {
    QCOMPARE(mkfifo(QFile::encodeName(file()).constData(), 0600), 0);
    QVERIFY(!read());

    // What is written to the pipe stays for the one whom it is for.
    const int pipe = open(QFile::encodeName(file()).constData(), O_RDWR | O_CLOEXEC | O_NONBLOCK);
    QVERIFY(pipe >= 0);
    QCOMPARE(::write(pipe, "abcd", 4), ssize_t(4));
    QVERIFY(!read());
    int left = 0;
    QCOMPARE(ioctl(pipe, FIONREAD, &left), 0);
    close(pipe);
    QCOMPARE(left, 4);

    QVERIFY(QFile::remove(file()));
    QCOMPARE(symlink("/dev/zero", QFile::encodeName(file()).constData()), 0);
    QVERIFY(!read());
}

void TestPlistBundleReader::bundle_tooLarge_isNone() {
    const QByteArray list = wholeXml();
    const qsizetype rest = PlistBundleReader::kMaxFileSize - list.size();
    QVERIFY(read(list + QByteArray(rest, '\n')));
    QVERIFY(!read(list + QByteArray(rest + 1, '\n')));
}

void TestPlistBundleReader::bundle_brokenXml_isNone_data() {
    QTest::addColumn<QByteArray>("list");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("text") << QByteArray("com.example.some");
    QTest::newRow("only a mark") << QByteArray("\xef\xbb\xbf");
    QTest::newRow("root is a list") << xml("<array/>");
    QTest::newRow("root is a text") << xml("<string>CFBundleName</string>");
    QTest::newRow("no root") << xml("");
    QTest::newRow("not closed") << kStart + "<dict><key>CFBundleName</key><string>Some</string></dict>";
    QTest::newRow("closed twice") << xml("<dict></dict></dict>");
    QTest::newRow("closed by another") << xml("<dict><array></dict></array>");
    QTest::newRow("unknown element") << dictionary("<key>CFBundleName</key><text>Some</text>");
    QTest::newRow("element in a text") << named("a<true/>");
    QTest::newRow("instruction in a text") << named("a<?b?>");
    QTest::newRow("own entity") << QByteArray("<!DOCTYPE plist [<!ENTITY a \"b\">]>") + named("&a;");
    QTest::newRow("unknown entity") << named("&a;");
    QTest::newRow("too many entities") << named(QByteArray("&amp;").repeated(PlistGuard::kMaxEntities + 1));
    QTest::newRow("character beyond all") << named("&#x110000;");
    QTest::newRow("NUL") << named(QByteArray("a\0b", 3));
    QTest::newRow("written NUL") << named("a&#0;b");
    QTest::newRow("UTF-16") << QByteArray("\xff\xfe<\0p\0", 6);
    QTest::newRow("comment without end") << dictionary("<!-- ");
    QTest::newRow("many starts of comments") << dictionary(QByteArray("<!--").repeated(100'000));
    QTest::newRow("bytes without end") << named("<![CDATA[a");
    QTest::newRow("tag without end") << kStart + "<dict";
    QTest::newRow("many starts of tags") << kStart + QByteArray("<").repeated(500'000);
    QTest::newRow("closing in a quote") << dictionary("<array a=\"></array><dict>\">");
    QTest::newRow("70,000 lists without end") << kStart + QByteArray("<array>").repeated(70'000);
    QTest::newRow("10,000 lists, closed")
        << xml(QByteArray("<array>").repeated(10'000) + QByteArray("</array>").repeated(10'000));
}

void TestPlistBundleReader::bundle_brokenXml_isNone() {
    QFETCH(const QByteArray, list);
    QVERIFY(list.size() <= PlistBundleReader::kMaxFileSize); // or it would be none for its size
    QVERIFY(!read(list));
}

void TestPlistBundleReader::xml_inDoubt_isNotAdmitted_data() {
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("closed by another") << QByteArray("<array><dict></array></dict>");
    QTest::newRow("closed by an empty one") << QByteArray("<array></array/>");
    QTest::newRow("not closed") << QByteArray("<array>");
    QTest::newRow("unknown element") << QByteArray("<list></list>");
    QTest::newRow("unknown mark") << QByteArray("<!ENTITY>");
    QTest::newRow("element in a text") << QByteArray("<string><array/></string>");
    QTest::newRow("bytes outside of texts") << QByteArray("<![CDATA[<array>]]>");
    QTest::newRow("instruction after the start") << QByteArray("<?a?>");
    QTest::newRow("declaration after the start") << QByteArray("<!DOCTYPE plist>");
    QTest::newRow("comment that may end at once") << QByteArray("<!--><array>-->");
    QTest::newRow("comment that may end almost at once") << QByteArray("<!---><array>-->");
    QTest::newRow("tag that may end in a quote") << QByteArray("<array a=\">\"></array>");
    QTest::newRow("open quote") << QByteArray("<array a=\"></array>");
    QTest::newRow("tag in a tag") << QByteArray("<array <dict></array>");
    QTest::newRow("NUL") << QByteArray("<array>\0</array>", 16);
}

void TestPlistBundleReader::xml_inDoubt_isNotAdmitted() {
    QVERIFY(PlistGuard::admitsXml(xml("<array></array>")));
    QFETCH(const QByteArray, body);
    QVERIFY(!PlistGuard::admitsXml(xml(body)));
}

void TestPlistBundleReader::bundle_unusualXml_isRead_data() {
    QTest::addColumn<QByteArray>("list");
    QTest::addColumn<QString>("name");
    QTest::newRow("byte order mark") << "\xef\xbb\xbf" + named("a") << "a";
    QTest::newRow("no declarations") << QByteArray(
        "<plist><dict><key>CFBundleName</key><string>a</string></dict></plist>")
                                     << "a";
    QTest::newRow("single quotes") << QByteArray("<?xml version='1.0'?>") + named("a").mid(kStart.indexOf("<!D"))
                                   << "a";
    QTest::newRow("comments") << "<!-- <dict> -->"
            + dictionary("<!-- </dict> \" --><key>CFBundleName</key>"
                         "<string>a<!-- ' --></string>")
                              << "a";
    QTest::newRow("bytes") << named("<![CDATA[<dict>&amp;]]>") << "<dict>&amp;";
    QTest::newRow("entities") << named("&lt;&gt;&quot;&apos;&#233;&#xe9;") << "<>\"'éé";
    QTest::newRow("as many entities as may be")
        << named(QByteArray("&amp;").repeated(PlistGuard::kMaxEntities)) << QString(PlistGuard::kMaxEntities, '&');
    QTest::newRow("spaces in tags") << dictionary("<key >CFBundleName</key ><string\n>a</string\t>") << "a";
    QTest::newRow("CRLF") << named("a").replace("\n", "\r\n") << "a";
}

void TestPlistBundleReader::bundle_unusualXml_isRead() {
    QFETCH(const QByteArray, list);
    QFETCH(const QString, name);
    const auto info = read(list);
    QVERIFY(info);
    QCOMPARE(info->name, std::optional<QString>(name));
}

void TestPlistBundleReader::bundle_nestedXml_isReadUpToTheBound() {
    const auto list = [](int arrays) {
        return dictionary("<key>CFBundleName</key><string>a</string><key>b</key>"
                          + QByteArray("<array>").repeated(arrays) + QByteArray("</array>").repeated(arrays));
    };
    const int most = PlistGuard::kMaxDepth - 2; // besides plist and dict
    const auto info = read(list(most));
    QVERIFY(info);
    QCOMPARE(info->name, std::optional<QString>("a"));
    QVERIFY(!read(list(most + 1)));

    // Far more than a file of the size that is read can hold: the bound on nesting stands for itself.
    const QByteArray deep = list(200'000);
    QVERIFY(deep.size() > PlistBundleReader::kMaxFileSize);
    QVERIFY(!PlistGuard::admitsXml(deep));
    QVERIFY(!read(deep));
}

void TestPlistBundleReader::bundle_brokenBinary_isNone_data() {
    QTest::addColumn<QByteArray>("list");
    const QByteArrayList good{map({1}, {2}), ascii("CFBundleName"), ascii("Some")};
    const auto withTrailer = [&good](const Trailer& trailer) { return binary(good, trailer); };
    constexpr quint64 kHuge = 0xffff'ffff'ffff'ffff;
    QTest::newRow("only the header") << QByteArray("bplist00");
    QTest::newRow("other version") << binary(good).replace("bplist00", "bplist15");
    QTest::newRow("no objects") << binary({});
    QTest::newRow("offsets of 0 bytes") << withTrailer({.offsetSize = 0});
    QTest::newRow("offsets of 9 bytes") << withTrailer({.offsetSize = 9});
    QTest::newRow("offsets of 255 bytes") << withTrailer({.offsetSize = 255});
    QTest::newRow("references of 0 bytes") << withTrailer({.referenceSize = 0});
    QTest::newRow("references of 255 bytes") << withTrailer({.referenceSize = 255});
    QTest::newRow("more objects than offsets") << withTrailer({.count = 4});
    QTest::newRow("most objects") << withTrailer({.count = kHuge});
    QTest::newRow("objects that overflow") << withTrailer({.count = quint64(1) << 62});
    QTest::newRow("fewer objects than referred to") << withTrailer({.count = 2});
    QTest::newRow("root beyond the objects") << withTrailer({.root = 3});
    QTest::newRow("root far beyond") << withTrailer({.root = kHuge});
    QTest::newRow("table in the header") << withTrailer({.table = 0});
    QTest::newRow("table beyond the end") << withTrailer({.table = 100'000});
    QTest::newRow("table far beyond") << withTrailer({.table = kHuge});
    QTest::newRow("root is a text") << withTrailer({.root = 2});
    QTest::newRow("root is a list") << binary({array({1}), ascii("CFBundleName")});
    QTest::newRow("reference beyond the objects") << binaryWith({array({5})});
    QTest::newRow("dictionary in itself") << binary({map({1}, {0}), ascii("CFBundleName")});
    QTest::newRow("dictionary as its own key") << binary({map({0}, {1}), ascii("CFBundleName")});
    QTest::newRow("list in itself") << binaryWith({array({4})});
    QTest::newRow("list in itself, with others") << binaryWith({array({1, 2, 5}), array({3, 6}), array({1, 4})});
    QTest::newRow("10,000 lists in one another") << binaryWith(nestedArrays(10'000));
    QTest::newRow("10^20 copies") << binaryWith(sharedArrays(20, 10));
    QTest::newRow("2^60 copies") << binaryWith(sharedArrays(60, 2));
    QTest::newRow("3 levels of 1,000") << binaryWith(sharedArrays(3, 1'000));
    QTest::newRow("1,000 copies of much text")
        << binaryWith({array(QList<quint32>(1'000, 5)), ascii(QByteArray(400'000, 'x'))});
    QTest::newRow("text longer than the file") << binaryWith({marker(0x5, 100'000) + "x"});
    QTest::newRow("text of most bytes") << binaryWith({"\x5f\x13" + bigEndian(kHuge, 8)});
    QTest::newRow("wide text that overflows") << binaryWith({"\x6f\x13" + bigEndian(quint64(1) << 63, 8)});
    QTest::newRow("bytes longer than the file") << binaryWith({marker(0x4, 0xffff'ffff)});
    QTest::newRow("list longer than the file") << binaryWith({marker(0xa, 0xffff'ffff)});
    QTest::newRow("list that overflows") << binaryWith({"\xaf\x13" + bigEndian(quint64(1) << 62, 8)});
    QTest::newRow("dictionary that overflows") << binaryWith({"\xdf\x13" + bigEndian(quint64(1) << 61, 8)});
    QTest::newRow("length of no number") << binaryWith({"\x5f\x5f"});
    QTest::newRow("length of 16 bytes") << binaryWith({"\x5f\x14" + bigEndian(0, 8) + bigEndian(1, 8)});
    QTest::newRow("number of 32,768 bytes") << binaryWith({"\x1f"});
    QTest::newRow("unknown kind") << binaryWith({"\x70"});
    QTest::newRow("NUL in a text") << binaryWith({ascii(QByteArray("a\0b", 3))});
    QTest::newRow("NUL in a wide text") << binaryWith({utf16({'a', 0, 'b'})});
    QTest::newRow("high half alone") << binaryWith({utf16({0xd800, 'b'})});
    QTest::newRow("high half at the end") << binaryWith({utf16({'a', 0xd800})});
    QTest::newRow("low half alone") << binaryWith({utf16({'a', 0xdc00})});
}

void TestPlistBundleReader::bundle_brokenBinary_isNone() {
    // What each case changes is all that is wrong with it.
    const auto good = read(binaryWith({ascii("a")}));
    QVERIFY(good);
    QCOMPARE(good->identifier, std::optional<QString>("a"));
    QCOMPARE(good->name, std::optional<QString>("Some"));

    QFETCH(const QByteArray, list);
    QVERIFY(list.size() <= PlistBundleReader::kMaxFileSize);
    QVERIFY(!read(list));
}

void TestPlistBundleReader::bundle_nestedBinary_isReadUpToTheBound() {
    const int most = PlistGuard::kMaxDepth - 1; // besides the dictionary
    const auto info = read(binaryWith(nestedArrays(most)));
    QVERIFY(info);
    QCOMPARE(info->name, std::optional<QString>("Some"));
    QVERIFY(!read(binaryWith(nestedArrays(most + 1))));

    // Reached first where it is not too deep, and then again where it is: list 5 as item of 4, and at the end of
    // others.
    const auto again = [](int between) {
        QByteArrayList objects{array({5, 7}), array({6}), array({})};
        for (int i = 0; i < between; ++i)
            objects += array({i + 1 < between ? quint32(8 + i) : quint32(5)});
        return binaryWith(objects);
    };
    QVERIFY(read(again(most - 3)));
    QVERIFY(!read(again(most - 2)));
}

void TestPlistBundleReader::bundle_sharedObjects_areReadUpToTheBound() {
    // An object counts 64 bytes, a text its length as well.
    const auto list = [](int times) {
        return binaryWith({array(QList<quint32>(times, 5)), ascii(QByteArray(960, 'x'))});
    };
    const int most = int(PlistGuard::kMaxExpandedSize / 1024);
    const auto info = read(list(most - 1));
    QVERIFY(info);
    QCOMPARE(info->name, std::optional<QString>("Some"));
    QVERIFY(!read(list(most)));
}

void TestPlistBundleReader::bundle_cutAnywhere_isNone_data() {
    values_areReadFromXmlAndBinary_data();
}

void TestPlistBundleReader::bundle_cutAnywhere_isNone() {
    QFETCH(const QByteArray, list);
    const QByteArray whole = list.trimmed();
    for (qsizetype length = 0; length < whole.size(); ++length)
        QVERIFY2(!read(whole.left(length)), qPrintable(QString::number(length)));
    QVERIFY(read(whole));
}

void TestPlistBundleReader::bundle_changedAnyhow_neverCrashes_andYieldsText_data() {
    values_areReadFromXmlAndBinary_data();
}

void TestPlistBundleReader::bundle_changedAnyhow_neverCrashes_andYieldsText() {
    QFETCH(const QByteArray, list);
    std::mt19937 random(4711); // the same changes in each run
    const auto below = [&random](qsizetype bound) { return qsizetype(random() % quint32(bound)); };
    int bundles = 0;
    int values = 0;
    for (int i = 0; i < 2'000; ++i) {
        QByteArray changed = list;
        for (qsizetype changes = 1 + below(4); changes > 0; --changes) {
            const qsizetype at = below(changed.size());
            switch (below(5)) {
            case 0: changed[at] = char(below(256)); break;
            case 1: changed[at] = char(changed[at] ^ 1 << below(8)); break;
            case 2: changed.remove(at, 1 + below(8)); break;
            case 3: changed.insert(at, list.mid(below(list.size()), 1 + below(40))); break;
            default: changed[at] = "\x00\xff<>&/\x5f\x6f\xaf\xdf"[below(10)]; break;
            }
        }
        const auto info = read(changed);
        bundles += info ? 1 : 0;
        if (!info)
            continue;
        QVERIFY(!info->identifier || !info->identifier->isEmpty());
        for (const std::optional<QString>& value : {info->identifier, info->displayName, info->name}) {
            values += value ? 1 : 0;
            QVERIFY(!value || (value->isValidUtf16() && !value->contains(QChar(0))));
        }
    }
    // Some changes do no harm, so values were looked at; others do.
    QVERIFY2(bundles > 20 && bundles < 2'000, qPrintable(QString::number(bundles)));
    QVERIFY2(values > bundles, qPrintable(QString::number(values)));
}

void TestPlistBundleReader::xml_thatIsAdmitted_isNestedNoDeeperForLibplist() {
    // Lists of parts that two readers may take differently. Each opens more than it closes as often as not.
    const QByteArrayList parts{"<array>",
                               "<array>",
                               "</array>",
                               "</array>",
                               "<array/>",
                               "<array />",
                               "<array/ >",
                               "</array >",
                               "<array a='>'>",
                               "<!--",
                               "-->",
                               "<!-->",
                               "<!---->",
                               "\"",
                               "'",
                               "]]>",
                               "<![CDATA[",
                               "<string>",
                               "</string>",
                               "<string/>",
                               "<?",
                               "?>",
                               "<!DOCTYPE a>",
                               "<dict>",
                               "<key>a</key>",
                               "</dict>",
                               "<true/>",
                               "</true>",
                               "<array a=\"b\">",
                               ">"};
    std::mt19937 random(4711);
    int admitted = 0;
    int parsed = 0;
    for (int i = 0; i < 100'000; ++i) {
        QByteArray body;
        int open = 0;
        for (int count = 1 + int(random() % 12); count > 0; --count) {
            const QByteArray& part = parts[qsizetype(random() % quint32(parts.size()))];
            open += part == "<array>" ? 1 : part == "</array>" ? -1 : 0;
            body += part;
        }
        // In as many lists as are just allowed, so that one more level that only libplist sees is one too many.
        const int around = PlistGuard::kMaxDepth - 1 - int(random() % 3);
        const QByteArray list = xml(QByteArray("<array>").repeated(around) + body
                                    + QByteArray("</array>").repeated(std::max(0, around + open)));
        if (!PlistGuard::admitsXml(list))
            continue;
        ++admitted;
        plist_t root = nullptr;
        plist_from_xml(list.constData(), uint32_t(list.size()), &root);
        if (!root)
            continue;
        ++parsed;
        const int height = heightOf(root);
        plist_free(root);
        QVERIFY2(height <= PlistGuard::kMaxDepth, list.constData());
    }
    QVERIFY2(admitted > 1'000 && parsed > 1'000, qPrintable(QString("%1 %2").arg(admitted).arg(parsed)));
}

void TestPlistBundleReader::entries_areWhatLiesInTheFolder() {
    const QByteArray folder = QFile::encodeName(m_folder->path());
    QVERIFY(QDir(m_folder->path()).mkdir(".Hidden.app"));
    QVERIFY(QDir(m_folder->path()).mkdir("Ünder scores"));
    QVERIFY(QFile(m_folder->filePath("note.app")).open(QIODevice::WriteOnly));
    QCOMPARE(symlink("Some.app", (folder + "/Link.app").constData()), 0);
    QCOMPARE(symlink("nowhere", (folder + "/Dangling.app").constData()), 0);
    QCOMPARE(symlink("Round.app", (folder + "/Round.app").constData()), 0);
    QCOMPARE(mkdir((folder + "/no\xfftext.app").constData(), 0700), 0);

    FileBundleFolders folders({});
    for (const QString& spelling : {m_folder->path(), m_folder->path() + u'/'}) {
        auto entries = folders.entriesOf(spelling);
        std::sort(entries.begin(), entries.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
        QStringList listed;
        for (const auto& entry : entries) {
            QCOMPARE(entry.path, m_folder->filePath(entry.name));
            listed += entry.name + (!entry.isDirectory ? " ?" : *entry.isDirectory ? " folder" : " file");
        }
        const QStringList expected{"Dangling.app ?",  "Link.app folder", "Round.app ?",
                                   "Some.app folder", "note.app file",   "Ünder scores folder"};
        QCOMPARE(listed, expected);
    }
    QCOMPARE(rmdir((folder + "/no\xfftext.app").constData()), 0); // QTemporaryDir cannot
}

void TestPlistBundleReader::entries_ofNoFolder_areNone() {
    FileBundleFolders folders({});
    QVERIFY(folders.entriesOf(m_folder->filePath("nowhere")).empty());
    QVERIFY(folders.entriesOf(QString()).empty());
    write(wholeXml());
    QVERIFY(folders.entriesOf(file()).empty());
    QVERIFY(!folders.entriesOf(m_folder->path()).empty());
}

void TestPlistBundleReader::folders_areThoseGiven() {
    const QStringList expected{"/Applications", "/home/a/Applications", "/System/Applications",
                               "/System/Applications/Utilities"};
    FileBundleFolders folders(applicationFoldersOf("/home/a"));
    QCOMPARE(folders.folders(), expected);
    QCOMPARE(folders.bundleExtension(), QString("app"));
}

QTEST_APPLESS_MAIN(TestPlistBundleReader)
#include "TestPlistBundleReader.moc"
