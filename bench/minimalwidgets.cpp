// The start-up reference: a Qt Widgets program that makes its application, reads its command
// line, prints a line and exits. bench_startup measures the command line against it.
#include <QApplication>
#include <QCommandLineParser>
#include <QTextStream>

int main(int argc, char **argv)
{
    QApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    parser.addOption({QStringLiteral("text"), QStringLiteral("A text."), QStringLiteral("TEXT")});
    parser.process(app);
    QTextStream(stdout) << parser.value(QStringLiteral("text")) << '\n';
    return 0;
}
