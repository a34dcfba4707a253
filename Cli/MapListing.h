// The text of `map show` and the findings of `map check`, apart from the commands so that they can
// be timed and tested on a document in memory.
#pragma once

#include <QByteArray>
#include <QStringList>

class CNetworkDocument;
class CNetworkMap;

// The listing of a map just read: head line, PEs, connections, routing tables and masks of the
// active map and (when it holds anything) the template map, then views and watch items. UTF-8,
// one line feed after each line.
QByteArray MapListing(const CNetworkDocument& document, const CNetworkMap& map);

// Problems that load fine but leave the active map inconsistent: IDs that aren't unique,
// connections naming PEs or ports that aren't there, view nodes of absent PEs.
QStringList CheckMap(const CNetworkDocument& document);
