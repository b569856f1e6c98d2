// Draws symbolic icons at the sizes that bars use, as a source file of what each pixel is covered.
// draw OUTPUT ICON.svg ...: the name of an icon is that of its file.

#include <QFile>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QSvgRenderer>
#include <QTextStream>

#include <cstdlib>

namespace {

constexpr int kSizes[] = {16, 22, 24, 32, 48, 64, 96};

QByteArray coverage(QSvgRenderer& drawing, int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    drawing.render(&painter, QRectF(0, 0, size, size));
    painter.end();
    QByteArray alpha;
    for (int y = 0; y < size; ++y) {
        for (int x = 0; x < size; ++x)
            alpha.append(static_cast<char>(image.pixelColor(x, y).alpha()));
    }
    return alpha;
}

} // namespace

int main(int argc, char* argv[]) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv);
    const QStringList arguments = QGuiApplication::arguments();
    QFile file(arguments.value(1));
    if (!file.open(QFile::WriteOnly | QFile::Truncate))
        return EXIT_FAILURE;
    QTextStream out(&file);
    QString tables;
    QString choices;
    out << "#include \"platform/freedesktop/StatusSymbol.h\"\n\nnamespace vantorel {\n\nnamespace {\n\n";
    for (int i = 2; i < arguments.size(); ++i) {
        QSvgRenderer drawing(arguments.at(i));
        if (!drawing.isValid())
            return EXIT_FAILURE;
        const int number = i - 2;
        tables += QStringLiteral("constexpr StatusSymbol kSymbol%1[] = {").arg(number);
        for (const int size : kSizes) {
            const QString table = QStringLiteral("kCoverage%1x%2").arg(number).arg(size);
            out << "constexpr unsigned char " << table << "[] = {";
            for (const char byte : coverage(drawing, size))
                out << static_cast<int>(static_cast<unsigned char>(byte)) << ',';
            out << "};\n";
            tables += QStringLiteral("{%1, %2}, ").arg(size).arg(table);
        }
        tables += QStringLiteral("};\n");
        choices += QStringLiteral("    if (name == u\"%1\")\n        return kSymbol%2;\n")
                       .arg(QFileInfo(arguments.at(i)).completeBaseName())
                       .arg(number);
    }
    out << '\n'
        << tables << "\n} // namespace\n\nstd::span<const StatusSymbol> statusSymbols(QStringView name) {\n"
        << choices << "    return {};\n}\n\n} // namespace vantorel\n";
    out.flush();
    return file.error() == QFile::NoError ? EXIT_SUCCESS : EXIT_FAILURE;
}
