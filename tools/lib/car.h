#pragma once

// The car as the simulated adapter knows it: the data of every frame it sends, changed by
// words ("door front-left open", "climate temp-left 22.5") and by the head unit's climate
// keys. A word changes its part of one frame and the whole frame goes out, so opening one
// door keeps the others as they were. The vocabulary is the table in car.cpp; help() prints it.

#include "climatemodel.h"
#include "textparse.h"

#include <QByteArray>
#include <QHash>
#include <QList>
#include <QStringList>

namespace tools {

class Car
{
public:
    explicit Car(int fanScale = 18);

    // Whether the words are a form of the vocabulary (the first word names it).
    static bool isWord(const QString &first);
    // Applies the words; *cmd is the command whose frame carries the change. A key held
    // long sets *releaseAfter to the seconds until its release (else 0).
    bool apply(const QList<Token> &words, int *cmd, double *releaseAfter, QString *error);

    QByteArray data(int cmd) const;
    // What the adapter sent for cmd: later words build on it.
    void setData(int cmd, const QByteArray &data);
    ClimateModel &climate() { return mClimate; }
    // The state in words, one line per part of the car.
    QString describe();
    static QString help();
    // A frame's data in word forms, one per line, every form the frame carries: the words that
    // build it on a car. Empty for a frame of the wrong length.
    static QStringList say(int cmd, const QByteArray &data);

private:
    QString trip() const;

    QHash<int, QByteArray> mData;
    ClimateModel mClimate;
};

} // namespace tools
