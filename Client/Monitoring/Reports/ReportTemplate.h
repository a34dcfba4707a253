// Filling one piece of an HTML report: a template file in which "##!!!KEY!!!##" stands for a
// value. Keys and values are two parallel lists.
#pragma once

#include <QString>
#include <QStringList>

class QIODevice;

// The marker of a key: "##!!!", the key, "!!!##".
QString ReportMarker(const QString& strKey);

// Copies a template to the output line by line, each line followed by a line feed. In a line that
// is not empty, the markers of the pairs are replaced in list order until as many pairs have
// matched as the line has markers; a marker whose key is not in the list stays as it is. A
// template that cannot be opened sets *pstrMessage to "File could not be opened %d" with the
// system's error number; a failed write sets it to "Unable to write file '%s'"; both give false.
bool WriteTemplate(const QString& strTemplatePath, QIODevice& output, const QStringList& keys,
                   const QStringList& values, QString* pstrMessage);

// The text of a line after the replacement rule above (exposed for the writer and its tests).
QString FillTemplateLine(const QString& strLine, const QStringList& keys, const QStringList& values);

// A text made safe to stand in a page: &, <, > and quotes as entities.
QString ReportEscape(const QString& strText);
