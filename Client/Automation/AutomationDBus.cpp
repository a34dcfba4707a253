#include "AutomationDBus.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QList>
#include <QTimer>

#include <deque>
#include <limits>

namespace
{
constexpr char kInvalidArgs[] = "org.freedesktop.DBus.Error.InvalidArgs";
constexpr char kUnknownMethod[] = "org.freedesktop.DBus.Error.UnknownMethod";

// The methods whose byte arrays hold signed bytes (VT_I1): the flash, the probe's set-up and
// memory written a byte at a time. D-Bus has only an unsigned byte, so their ay is taken as VT_I1.
bool TakesSignedBytes(const SAutoMethod& method)
{
    const QLatin1String name(method.pszName);
    return name == QLatin1String("FlashWrite") || name == QLatin1String("SetProbeConfig") ||
           name == QLatin1String("MemoryWrite");
}

// The number of a scalar as it came off the bus, with the automation type that holds it.
bool ScalarFromDBus(const QVariant& value, CAutoValue* pValue)
{
    switch (value.metaType().id())
    {
    case QMetaType::UChar:
        *pValue = CAutoValue::Number(eVtUI1, value.value<uchar>());
        return true;
    case QMetaType::Short:
        *pValue = CAutoValue::Number(eVtI2, value.value<short>());
        return true;
    case QMetaType::UShort:
        *pValue = CAutoValue::Number(eVtUI2, value.value<ushort>());
        return true;
    case QMetaType::Int:
        *pValue = CAutoValue::Number(eVtI4, value.toInt());
        return true;
    case QMetaType::UInt:
        *pValue = CAutoValue::Number(eVtUI4, value.toUInt());
        return true;
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    {
        // No automation type is 64 bits wide: a number that fits 32 bits is taken as such.
        bool bSigned = value.metaType().id() == QMetaType::LongLong;
        const qlonglong llValue = bSigned ? value.toLongLong() : 0;
        const qulonglong ullValue = bSigned ? 0 : value.toULongLong();
        if (bSigned && llValue >= std::numeric_limits<int32_t>::min() && llValue <= 0xFFFFFFFFll)
        {
            *pValue = CAutoValue::Number(llValue < 0 ? eVtI4 : eVtUI4, llValue);
            return true;
        }
        if (!bSigned && ullValue <= 0xFFFFFFFFull)
        {
            *pValue = CAutoValue::Number(eVtUI4, static_cast<int64_t>(ullValue));
            return true;
        }
        return false;
    }
    case QMetaType::Bool:
        *pValue = CAutoValue::Number(eVtBool, value.toBool() ? 1 : 0);
        return true;
    case QMetaType::QString:
        *pValue = CAutoValue::Text(value.toString());
        return true;
    default:
        return false;
    }
}

template <typename T> CAutoValue ArrayOf(const QDBusArgument& argument, uint16_t vtElement)
{
    const QList<T> list = qdbus_cast<QList<T>>(argument);
    std::vector<int64_t> values;
    values.reserve(static_cast<size_t>(list.size()));
    for (T element : list)
    {
        values.push_back(static_cast<int64_t>(element));
    }
    return CAutoValue::NumberArray(vtElement, values, true);
}

// The bits of an unsigned element kept in the signed type of the same width.
template <typename TSigned, typename TUnsigned>
CAutoValue SameBitsArrayOf(const QDBusArgument& argument, uint16_t vtElement)
{
    const QList<TUnsigned> list = qdbus_cast<QList<TUnsigned>>(argument);
    std::vector<int64_t> values;
    values.reserve(static_cast<size_t>(list.size()));
    for (TUnsigned element : list)
    {
        values.push_back(static_cast<TSigned>(element));
    }
    return CAutoValue::NumberArray(vtElement, values, true);
}

QString Escaped(const QString& strText)
{
    return strText.toHtmlEscaped();
}

QString MethodXml(const QString& strName, const std::vector<std::pair<QString, QString>>& inputs,
                  const QString& strResultSignature)
{
    QString strXml = QStringLiteral("    <method name=\"%1\">\n").arg(Escaped(strName));
    for (const auto& [strArg, strType] : inputs)
    {
        strXml += QStringLiteral("      <arg name=\"%1\" type=\"%2\" direction=\"in\"/>\n")
                      .arg(Escaped(strArg), strType);
    }
    if (!strResultSignature.isEmpty())
    {
        strXml += QStringLiteral("      <arg name=\"result\" type=\"%1\" direction=\"out\"/>\n")
                      .arg(strResultSignature);
    }
    strXml += QStringLiteral("    </method>\n");
    return strXml;
}

// The signature of what the variant of an array result holds.
QString ArrayContentSignature(uint16_t vtElement)
{
    switch (vtElement)
    {
    case eVtI2:
    case eVtUI2:
        return QStringLiteral("an");
    case eVtI1:
    case eVtUI1:
        return QStringLiteral("ay");
    case eVtBool:
        return QStringLiteral("ab");
    default:
        return QStringLiteral("ai");
    }
}

const SAutoMethod* MethodNamed(const QString& strName)
{
    for (const SAutoMethod& method : CAutomation::Methods())
    {
        if (strName == QLatin1String(method.pszName))
        {
            return &method;
        }
    }
    return nullptr;
}
} // namespace

// The object on the bus. Calls are handled one at a time, in the order they came: a call that
// arrives while another one waits for the target (a working window pumps the event loop) is kept
// and handled when that one has ended, as the application handles one command at a time.
class CAutomationDBusObject final : public QDBusVirtualObject
{
public:
    explicit CAutomationDBusObject(CAutomationDBus& owner) : m_owner(owner) {}

    QString introspect(const QString&) const override { return CAutomationDBus::InterfaceXml(); }

    bool handleMessage(const QDBusMessage& message, const QDBusConnection& connection) override
    {
        if (message.type() != QDBusMessage::MethodCallMessage || !Handles(message))
        {
            return false; // the standard interfaces (introspection, peer) are answered by the bus library
        }
        m_pending.emplace_back(message, connection);
        if (m_bBusy)
        {
            return true;
        }
        m_bBusy = true;
        while (!m_pending.empty())
        {
            auto [call, callConnection] = std::move(m_pending.front());
            m_pending.pop_front();
            Handle(call, callConnection);
        }
        m_bBusy = false;
        return true;
    }

private:
    static bool Handles(const QDBusMessage& message)
    {
        const QString strInterface = message.interface();
        if (strInterface == QLatin1String(kAutomationInterface) ||
            strInterface == QLatin1String(kApplicationInterface))
        {
            return true;
        }
        // A call without an interface finds the method by its name alone.
        return strInterface.isEmpty() &&
               (MethodNamed(message.member()) || IsApplicationMethod(message.member()));
    }

    static bool IsApplicationMethod(const QString& strMember)
    {
        return strMember == QLatin1String("Quit") || strMember == QLatin1String("IsHeadless");
    }

    void Handle(const QDBusMessage& message, const QDBusConnection& connection)
    {
        const QString strMember = message.member();
        const bool bApplication = message.interface() == QLatin1String(kApplicationInterface) ||
                                  (message.interface().isEmpty() && IsApplicationMethod(strMember));
        if (bApplication)
        {
            HandleApplication(message, connection);
            return;
        }
        const SAutoMethod* pMethod = MethodNamed(strMember);
        if (!pMethod)
        {
            connection.send(message.createErrorReply(
                QLatin1String(kUnknownMethod),
                QStringLiteral("No method %1 in %2.").arg(strMember, QLatin1String(kAutomationInterface))));
            return;
        }
        const QList<QVariant> arguments = message.arguments();
        if (arguments.size() != static_cast<qsizetype>(pMethod->args.size()))
        {
            connection.send(message.createErrorReply(
                QLatin1String(kInvalidArgs),
                QStringLiteral("%1 takes %2 argument(s) of the types (%3); %4 were given.")
                    .arg(QLatin1String(pMethod->pszName))
                    .arg(pMethod->args.size())
                    .arg(CAutomationDBus::InputSignature(*pMethod))
                    .arg(arguments.size())));
            return;
        }
        std::vector<CAutoValue> values;
        values.reserve(pMethod->args.size());
        for (int i = 0; i < static_cast<int>(arguments.size()); ++i)
        {
            CAutoValue value;
            QString strError;
            if (!CAutomationDBus::ArgumentFromDBus(*pMethod, i, arguments[i], &value, &strError))
            {
                connection.send(message.createErrorReply(QLatin1String(kInvalidArgs), strError));
                return;
            }
            values.push_back(std::move(value));
        }
        CAutoValue result;
        SAutoError error;
        if (!m_owner.m_automation.Invoke(pMethod->iDispID, values, &result, &error))
        {
            connection.send(
                message.createErrorReply(CAutomationDBus::ErrorName(error.nStatus), error.strText));
            return;
        }
        connection.send(message.createReply(CAutomationDBus::ResultToDBus(*pMethod, result)));
    }

    void HandleApplication(const QDBusMessage& message, const QDBusConnection& connection)
    {
        const QString strMember = message.member();
        if (!message.arguments().isEmpty() || !IsApplicationMethod(strMember))
        {
            connection.send(message.createErrorReply(
                IsApplicationMethod(strMember) ? QLatin1String(kInvalidArgs) : QLatin1String(kUnknownMethod),
                IsApplicationMethod(strMember) ? QStringLiteral("%1 takes no arguments.").arg(strMember)
                                               : QStringLiteral("No method %1 in %2.")
                                                     .arg(strMember, QLatin1String(kApplicationInterface))));
            return;
        }
        if (strMember == QLatin1String("IsHeadless"))
        {
            connection.send(message.createReply(QVariant(m_owner.bHeadless)));
            return;
        }
        connection.send(message.createReply());
        // The caller has its answer before the program starts to end.
        QTimer::singleShot(0, &m_owner,
                           [pOwner = &m_owner]
                           {
                               if (pOwner->onQuit)
                               {
                                   pOwner->onQuit();
                               }
                           });
    }

    CAutomationDBus& m_owner;
    std::deque<std::pair<QDBusMessage, QDBusConnection>> m_pending;
    bool m_bBusy = false;
};

CAutomationDBus::CAutomationDBus(CAutomation& automation, QObject* pParent)
    : QObject(pParent), m_automation(automation), m_connection(QString())
{
}

CAutomationDBus::~CAutomationDBus()
{
    Stop();
}

bool CAutomationDBus::Serve(const QDBusConnection& connection, QString* pstrError)
{
    Stop();
    if (!connection.isConnected())
    {
        const QString strReason = connection.lastError().message();
        *pstrError =
            QStringLiteral("The automation interface is not served: there is no D-Bus session bus%1")
                .arg(strReason.isEmpty() ? QStringLiteral(".") : QStringLiteral(" (%1).").arg(strReason));
        return false;
    }
    m_connection = connection;
    m_pObject = std::make_unique<CAutomationDBusObject>(*this);
    if (!m_connection.registerVirtualObject(QLatin1String(kAutomationObjectPath), m_pObject.get(),
                                            QDBusConnection::SingleNode))
    {
        m_pObject.reset();
        *pstrError =
            QStringLiteral("The automation interface is not served: the object path %1 is already in "
                           "use on this bus connection.")
                .arg(QLatin1String(kAutomationObjectPath));
        return false;
    }
    m_bServing = true;
    if (!m_connection.registerService(QLatin1String(kAutomationServiceName)))
    {
        const QString strOwner =
            m_connection.interface()
                ? m_connection.interface()->serviceOwner(QLatin1String(kAutomationServiceName))
                : QString();
        Stop();
        *pstrError =
            QStringLiteral("The automation interface is not served: another program (%1) already serves "
                           "%2 on this session bus.")
                .arg(strOwner.isEmpty() ? QStringLiteral("unknown") : strOwner,
                     QLatin1String(kAutomationServiceName));
        return false;
    }
    m_bNameOwned = true;
    return true;
}

void CAutomationDBus::Stop()
{
    if (m_bNameOwned)
    {
        m_connection.unregisterService(QLatin1String(kAutomationServiceName));
        m_bNameOwned = false;
    }
    if (m_bServing)
    {
        m_connection.unregisterObject(QLatin1String(kAutomationObjectPath));
        m_bServing = false;
    }
    m_pObject.reset();
}

QString CAutomationDBus::TypeSignature(uint16_t vt)
{
    if ((vt & eVtArray) != 0)
    {
        return QStringLiteral("v");
    }
    switch (vt & ~eVtByRef)
    {
    case eVtUI1:
        return QStringLiteral("y");
    case eVtI2:
        return QStringLiteral("n");
    case eVtUI2:
        return QStringLiteral("q");
    case eVtUI4:
        return QStringLiteral("u");
    case eVtBool:
        return QStringLiteral("b");
    case eVtBstr:
        return QStringLiteral("s");
    case eVtVariant:
        return QStringLiteral("v");
    default:
        return QStringLiteral("i");
    }
}

QString CAutomationDBus::InputSignature(const SAutoMethod& method)
{
    QString strSignature;
    for (const SAutoArg& arg : method.args)
    {
        strSignature += TypeSignature(arg.vt);
    }
    return strSignature;
}

QString CAutomationDBus::InterfaceXml()
{
    QString strXml = QStringLiteral("  <interface name=\"%1\">\n").arg(QLatin1String(kAutomationInterface));
    for (const SAutoMethod& method : CAutomation::Methods())
    {
        std::vector<std::pair<QString, QString>> inputs;
        for (const SAutoArg& arg : method.args)
        {
            inputs.emplace_back(QLatin1String(arg.pszName), TypeSignature(arg.vt));
        }
        strXml += MethodXml(QLatin1String(method.pszName), inputs, TypeSignature(method.vtResult));
    }
    strXml += QStringLiteral("  </interface>\n");
    strXml += QStringLiteral("  <interface name=\"%1\">\n").arg(QLatin1String(kApplicationInterface));
    strXml += MethodXml(QStringLiteral("Quit"), {}, QString());
    strXml += MethodXml(QStringLiteral("IsHeadless"), {}, QStringLiteral("b"));
    strXml += QStringLiteral("  </interface>\n");
    return strXml;
}

QString CAutomationDBus::ErrorName(int32_t nStatus)
{
    const int64_t llCode = nStatus < 0 ? -static_cast<int64_t>(nStatus) : nStatus;
    return QLatin1String(kAutomationErrorPrefix) + QString::number(llCode);
}

bool CAutomationDBus::ArgumentFromDBus(const SAutoMethod& method, int iArg, const QVariant& value,
                                       CAutoValue* pValue, QString* pstrError)
{
    const QString strWhere = QStringLiteral("%1, argument %2 (%3)")
                                 .arg(QLatin1String(method.pszName))
                                 .arg(iArg + 1)
                                 .arg(QLatin1String(method.args[static_cast<size_t>(iArg)].pszName));
    QVariant content = value;
    if (content.metaType() == QMetaType::fromType<QDBusVariant>())
    {
        content = content.value<QDBusVariant>().variant();
    }
    if (ScalarFromDBus(content, pValue))
    {
        return true;
    }
    if (content.metaType().id() == QMetaType::QByteArray)
    {
        // Memory written in words of 2 or 4 bytes wants an or ai: its bytes are refused there
        // with the text that names the type it wants.
        const uint16_t vtElement = TakesSignedBytes(method) ? eVtI1 : eVtUI1;
        const QByteArray bytes = content.toByteArray();
        std::vector<int64_t> values;
        values.reserve(static_cast<size_t>(bytes.size()));
        for (char ch : bytes)
        {
            values.push_back(vtElement == eVtI1 ? static_cast<int64_t>(static_cast<signed char>(ch))
                                                : static_cast<int64_t>(static_cast<unsigned char>(ch)));
        }
        *pValue = CAutoValue::NumberArray(vtElement, values, true);
        return true;
    }
    if (content.metaType() == QMetaType::fromType<QDBusArgument>())
    {
        const QDBusArgument argument = content.value<QDBusArgument>();
        const QString strSignature = argument.currentSignature();
        if (strSignature == QLatin1String("ai"))
        {
            *pValue = ArrayOf<int>(argument, eVtI4);
        }
        else if (strSignature == QLatin1String("au"))
        {
            *pValue = SameBitsArrayOf<int32_t, uint>(argument, eVtI4);
        }
        else if (strSignature == QLatin1String("an"))
        {
            *pValue = ArrayOf<short>(argument, eVtI2);
        }
        else if (strSignature == QLatin1String("aq"))
        {
            *pValue = SameBitsArrayOf<int16_t, ushort>(argument, eVtI2);
        }
        else if (strSignature == QLatin1String("ab"))
        {
            *pValue = ArrayOf<bool>(argument, eVtBool);
        }
        else if (strSignature == QLatin1String("av"))
        {
            // A list of values of mixed types: a script's own array, refused by the methods that
            // want a typed array, with the text that names the type they want.
            const QList<QDBusVariant> list = qdbus_cast<QList<QDBusVariant>>(argument);
            CAutoValue array;
            array.vt = static_cast<uint16_t>(eVtVariant | eVtArray | eVtByRef);
            for (const QDBusVariant& element : list)
            {
                CAutoValue scalar;
                if (!ScalarFromDBus(element.variant(), &scalar))
                {
                    *pstrError = QStringLiteral("%1: an element of the array is not a number or a string.")
                                     .arg(strWhere);
                    return false;
                }
                array.elements.push_back(std::move(scalar));
            }
            *pValue = std::move(array);
        }
        else
        {
            *pstrError = QStringLiteral("%1: a value of D-Bus type %2 can't be passed; use %3.")
                             .arg(strWhere, strSignature,
                                  method.args[static_cast<size_t>(iArg)].vt == eVtVariant
                                      ? QStringLiteral("a variant holding ai, an or ay")
                                      : TypeSignature(method.args[static_cast<size_t>(iArg)].vt));
            return false;
        }
        return true;
    }
    *pstrError = QStringLiteral("%1: a value of type %2 can't be passed; use %3.")
                     .arg(strWhere, QLatin1String(content.metaType().name()),
                          TypeSignature(method.args[static_cast<size_t>(iArg)].vt));
    return false;
}

QVariant CAutomationDBus::ResultToDBus(const SAutoMethod& method, const CAutoValue& result)
{
    if ((method.vtResult & eVtArray) != 0 || result.IsArray())
    {
        const uint16_t vtElement =
            result.IsArray() ? result.ElementType() : static_cast<uint16_t>(method.vtResult & ~eVtArray);
        QVariant content;
        switch (vtElement)
        {
        case eVtI1:
        case eVtUI1:
        {
            QByteArray bytes;
            bytes.reserve(static_cast<qsizetype>(result.elements.size()));
            for (const CAutoValue& element : result.elements)
            {
                bytes.append(static_cast<char>(element.nValue & 0xFF));
            }
            content = QVariant(bytes);
            break;
        }
        case eVtI2:
        case eVtUI2:
        {
            QList<short> list;
            for (const CAutoValue& element : result.elements)
            {
                list.append(static_cast<short>(element.nValue));
            }
            content = QVariant::fromValue(list);
            break;
        }
        case eVtBool:
        {
            QList<bool> list;
            for (const CAutoValue& element : result.elements)
            {
                list.append(element.nValue != 0);
            }
            content = QVariant::fromValue(list);
            break;
        }
        default:
        {
            QList<int> list;
            for (const CAutoValue& element : result.elements)
            {
                list.append(static_cast<int>(static_cast<uint32_t>(element.nValue)));
            }
            content = QVariant::fromValue(list);
            break;
        }
        }
        return QVariant::fromValue(QDBusVariant(content));
    }
    switch (method.vtResult)
    {
    case eVtUI1:
        return QVariant::fromValue(static_cast<uchar>(result.nValue));
    case eVtI2:
        return QVariant::fromValue(static_cast<short>(result.nValue));
    case eVtUI2:
        return QVariant::fromValue(static_cast<ushort>(result.nValue));
    case eVtUI4:
        return QVariant::fromValue(static_cast<uint>(result.nValue));
    case eVtBool:
        return QVariant(result.nValue != 0);
    case eVtBstr:
        return QVariant(result.strValue);
    case eVtVariant:
        return QVariant::fromValue(QDBusVariant(
            result.vt == eVtBstr ? QVariant(result.strValue) : QVariant(static_cast<int>(result.nValue))));
    default:
        return QVariant::fromValue(static_cast<int>(static_cast<uint32_t>(result.nValue)));
    }
}

QString AutomationMethodReference()
{
    QString strText = QStringLiteral("| ID | Method | Arguments | In | Out |\n|---:|---|---|---|---|\n");
    for (const SAutoMethod& method : CAutomation::Methods())
    {
        QStringList args;
        for (const SAutoArg& arg : method.args)
        {
            args << QStringLiteral("%1 `%2`").arg(QLatin1String(arg.pszName),
                                                  CAutomationDBus::TypeSignature(arg.vt));
        }
        QString strOut = QStringLiteral("`%1`").arg(CAutomationDBus::TypeSignature(method.vtResult));
        if ((method.vtResult & eVtArray) != 0)
        {
            strOut += QStringLiteral(" holding `%1`").arg(ArrayContentSignature(method.vtResult & ~eVtArray));
        }
        const QString strIn = CAutomationDBus::InputSignature(method);
        strText += QStringLiteral("| %1 | `%2` | %3 | %4 | %5 |\n")
                       .arg(method.iDispID)
                       .arg(QLatin1String(method.pszName), args.join(QStringLiteral(", ")),
                            strIn.isEmpty() ? QString() : QStringLiteral("`%1`").arg(strIn), strOut);
    }
    return strText;
}
