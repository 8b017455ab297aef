#pragma once
// One node of a hit's context tree: a value, children by key part, or both.
#include <QHash>
#include <QString>

class KEOContextData {
public:
    KEOContextData();
    // Frees the node's own value and hash, not the children: KEOStatic::freeContextData
    // walks the tree.
    virtual ~KEOContextData();

    QString value;
    QHash<QString, KEOContextData *> subValues;
};
