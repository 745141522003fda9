// A trading application of Qt Quick on a market that it makes up. What it tells Telvora by itself
// is in Desk.cpp; pages, frames and the launch are reported without a line in the pages.

#include "Charts.h"
#include "ChosenPair.h"
#include "Desk.h"
#include "Market.h"
#include "Script.h"

#include <Telvora/Platform/Qt/QtIntegration.h>
#include <Telvora/StartTelvora.h>

#include <QtCore/QCommandLineParser>
#include <QtGui/QFont>
#include <QtGui/QGuiApplication>
#include <QtQml/QQmlApplicationEngine>
#include <QtQuick/QQuickWindow>
#include <QtQuickControls2/QQuickStyle>

#include <cstdio>
#include <memory>
#include <string>

using namespace std::chrono_literals;

namespace {

struct Options {
    QString collector;
    QString script;
    QString folder;
    unsigned seed = 0;
};

// Ends the program where the command line is wrong.
Options parse(const QGuiApplication& app)
{
    QCommandLineParser parser;
    parser.setApplicationDescription("A trading application on a simulated market.");
    parser.addHelpOption();
    const QCommandLineOption collector(
        "collector", "Where to report to.", "address", "http://127.0.0.1:9100");
    const QCommandLineOption script("script", "Does what this file says.", "file");
    const QCommandLineOption out("out", "Where screenshots go.", "folder", ".");
    const QCommandLineOption seed("seed", "The same number makes the same prices.", "number", "7");
    parser.addOptions({ collector, script, out, seed });
    parser.process(app);
    return { parser.value(collector), parser.value(script), parser.value(out),
        parser.value(seed).toUInt() };
}

bool startTelemetry(QGuiApplication& app, const std::string& collector)
{
    constexpr auto standard = telvora::StandardData::standard;
    const telvora::StartResult started = telvora::startTelvora(
        {
            .channels = {
                { .index = "APM", .limit = 10, .url = collector + "/apm", .standardData = standard },
                { .index = "E2E", .limit = 3, .url = collector + "/e2e", .standardData = standard },
            },
        },
        { .applicationVersion = "1.0.0", .applicationIdentifier = "com.example.trading-app" });
    std::fputs(started.text().c_str(), stderr);
    return started && telvora::installQtIntegration(app);
}

void registerTypes(Market& market, ChosenPair& pair, Desk& desk)
{
    constexpr auto module = "Trading";
    qmlRegisterSingletonInstance(module, 1, 0, "Market", &market);
    qmlRegisterSingletonInstance(module, 1, 0, "ChosenPair", &pair);
    qmlRegisterSingletonInstance(module, 1, 0, "Desk", &desk);
    qmlRegisterSingletonType(QUrl("qrc:/qml/Theme.qml"), module, 1, 0, "Theme");
    qmlRegisterAnonymousType<OrderRows>(module, 1);
    qmlRegisterType<Sparkline>(module, 1, 0, "Sparkline");
    qmlRegisterType<CandleChart>(module, 1, 0, "CandleChart");
}

} // namespace

int main(int count, char** arguments)
{
    QGuiApplication app(count, arguments);
    QGuiApplication::setApplicationName("trading_app");
    const Options options = parse(app);
    QFont font;
    font.setFamilies({ "Inter", "Roboto", "Noto Sans", "DejaVu Sans Condensed" });
    font.setPixelSize(13);
    QGuiApplication::setFont(font);
    QQuickStyle::setStyle("Basic");

    if (!startTelemetry(app, options.collector.toStdString()))
        return 1;

    Market market(options.seed);
    ChosenPair pair(market, options.seed);
    Desk desk(market, options.collector);
    registerTypes(market, pair, desk);
    int status = 1;
    {
        QQmlApplicationEngine engine;
        engine.load(QUrl("qrc:/qml/Main.qml"));
        QQuickWindow* const window = engine.rootObjects().isEmpty()
            ? nullptr
            : qobject_cast<QQuickWindow*>(engine.rootObjects().first());
        std::unique_ptr<Script> script;
        if (window && !options.script.isEmpty()) {
            if (const auto lines = Script::read(options.script)) {
                script = std::make_unique<Script>(*window, *lines, options.folder);
                script->start();
            }
        }
        if (window && (script || options.script.isEmpty()))
            status = QGuiApplication::exec();
    }
    // Delivers what is pending, and waits two seconds at most.
    telvora::TrackerManager::shutdown(2s);
    return status;
}
