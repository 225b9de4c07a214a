#include "serialport.h"

#include <QFile>
#include <QHash>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtDebug>

namespace {

QHash<int, QString> builtInTexts()
{
    return {
        {131, QStringLiteral("Fuel OK")},  {339, QStringLiteral("V")},
        {346, QStringLiteral("Fuel low")}, {990, QStringLiteral("°C")},
        {992, QStringLiteral("km")},       {993, QStringLiteral("°F")},
        {997, QStringLiteral("km/h")},     {998, QStringLiteral("mph")},
        {999, QStringLiteral("%")},        {1002, QStringLiteral("mpg")},
        {1003, QStringLiteral("km/l")},    {1006, QStringLiteral("kPa")},
        {1025, QStringLiteral("h")},       {1026, QStringLiteral("l/100km")},
        {1035, QStringLiteral("l/h")},
    };
}

// A JSON object mapping decimal ids to texts; anything unreadable keeps the built-in texts.
QHash<int, QString> loadTexts()
{
    QHash<int, QString> texts = builtInTexts();
    const QString path = qEnvironmentVariable("CANSERVICE_TRANSLATIONS");
    if (path.isEmpty())
        return texts;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        qWarning().noquote() << "translator: cannot read" << path << "-" << file.errorString()
                             << "- using the built-in texts";
        return texts;
    }
    QJsonParseError error;
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
    if (!doc.isObject()) {
        qWarning().noquote() << "translator:" << path << "is not a JSON object of id: text ("
                             << error.errorString() << ") - using the built-in texts";
        return texts;
    }
    QHash<int, QString> loaded;
    const QJsonObject object = doc.object();
    for (auto it = object.begin(); it != object.end(); ++it) {
        bool ok = false;
        const int id = it.key().toInt(&ok, 10);
        if (!ok || !it.value().isString()) {
            qWarning().noquote() << "translator:" << path << "has a bad entry" << it.key()
                                 << "- using the built-in texts";
            return texts;
        }
        loaded.insert(id, it.value().toString());
    }
    return loaded;
}

QHash<int, QString> &texts()
{
    static QHash<int, QString> table = loadTexts();
    return table;
}

} // namespace

QString Translator::translate(int id)
{
    return texts().value(id);
}

void Translator::reload()
{
    texts() = loadTexts();
}
