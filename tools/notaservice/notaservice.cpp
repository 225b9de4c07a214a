// A Qt plugin that is not a CanServiceBase, for canhost's refusal to be tested.
#include <QObject>
#include <QtPlugin>

class NotAService : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "org.qvx.bench.NotAService")
};

#include "notaservice.moc"
