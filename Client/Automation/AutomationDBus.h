// The automation object on the D-Bus session bus. Other programs (a Python script, a shell loop
// with gdbus) call the 74 methods of IAutomation by name with typed arguments; the interface is
// generated from CAutomation's method table, so the table stays the one place that says which
// methods there are, in which order, with which arguments.
//
//   bus name     com.halvorn.Norvanta
//   object path  /com/halvorn/Norvanta/Automation
//   interfaces   com.halvorn.Norvanta.IAutomation   the 74 methods
//                com.halvorn.Norvanta.Application   Quit and the state of the serving program
//   errors       com.halvorn.Norvanta.Error.Status<N>, N the client status negated, with the
//                status text as the message
//
// Argument types: BYTE y, USHORT q, ULONG u, long i, BSTR s, VARIANT v. The data of the write
// methods arrives as a variant holding ai (VT_I4), an (VT_I2) or ay (VT_UI1; VT_I1 for the
// methods that take signed bytes, since D-Bus has no signed byte); au and aq are taken as ai and
// an with the same bits. Array results go out as a variant holding ai, an, ay or ab.
#pragma once

#include "Automation.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QVariant>

#include <functional>
#include <memory>

inline constexpr char kAutomationServiceName[] = "com.halvorn.Norvanta";
inline constexpr char kAutomationObjectPath[] = "/com/halvorn/Norvanta/Automation";
inline constexpr char kAutomationInterface[] = "com.halvorn.Norvanta.IAutomation";
inline constexpr char kApplicationInterface[] = "com.halvorn.Norvanta.Application";
inline constexpr char kAutomationErrorPrefix[] = "com.halvorn.Norvanta.Error.Status";

class CAutomationDBusObject;

class CAutomationDBus : public QObject
{
public:
    explicit CAutomationDBus(CAutomation& automation, QObject* pParent = nullptr);
    ~CAutomationDBus() override;
    CAutomationDBus(const CAutomationDBus&) = delete;
    CAutomationDBus& operator=(const CAutomationDBus&) = delete;

    // Exports the object on a connection and takes the well-known name. False, with the reason in
    // *pstrError, when the bus can't be reached, the path is in use or another program holds the
    // name; nothing stays registered then.
    bool Serve(const QDBusConnection& connection, QString* pstrError);
    // Gives the name back and removes the object.
    void Stop();
    bool IsServing() const { return m_bServing; }

    // Application.Quit: called once the reply has gone out.
    std::function<void()> onQuit;
    // Application.IsHeadless: whether the serving program has no window.
    bool bHeadless = false;

    // The D-Bus signature of an argument or result type of the method table.
    static QString TypeSignature(uint16_t vt);
    // The signature of a method's input arguments, such as "yuyuuu".
    static QString InputSignature(const SAutoMethod& method);
    // The introspection data of both interfaces (the <interface> elements).
    static QString InterfaceXml();
    // The name of the error of a client status.
    static QString ErrorName(int32_t nStatus);

    // One argument as it arrived on the bus, for argument iArg of a method: scalars keep their
    // number or text, variants are unwrapped, arrays become arrays of their element type. False
    // with a text when the D-Bus type can't stand for an automation value at all.
    static bool ArgumentFromDBus(const SAutoMethod& method, int iArg, const QVariant& value,
                                 CAutoValue* pValue, QString* pstrError);
    // A result as it goes out: a scalar of the method's result type, or a variant holding an array.
    static QVariant ResultToDBus(const SAutoMethod& method, const CAutoValue& result);

private:
    CAutomation& m_automation;
    std::unique_ptr<CAutomationDBusObject> m_pObject;
    QDBusConnection m_connection;
    bool m_bServing = false;
    bool m_bNameOwned = false;

    friend class CAutomationDBusObject;
};

// The reference of the interface in Markdown: names, interfaces, and one line per method with its
// dispatch ID, D-Bus signature, arguments and result. docs/automation.md carries it between the
// lines "<!-- methods -->" and "<!-- end of methods -->".
QString AutomationMethodReference();
