#pragma once

#include <QCoreApplication>
#include <QList>
#include <QMap>
#include <QVariant>

#include "catalogue/product.h"

class NumberSpinBox;
class QComboBox;
class QWidget;

/// The fields of a product's columns: lines, texts, numbers, choices and check boxes. A field that
/// the user leaves as it was shown stands for the value that it was shown for, whatever of that it
/// has room for.
class WareFields
{
    Q_DECLARE_TR_FUNCTIONS(WareFields)

public:
    /// The field of a column; its label is the one that has it as its buddy, in the same window.
    void add(const QString &column, QWidget *field);

    void show(const Product &product);

    /// The product shown with what the user has made of it.
    Product entered() const;

    /// Replaces the entries of a choice; the chosen one stays, also when it is not among them.
    static void fillChoice(QComboBox *box, const QList<QPair<QVariant, QString>> &choices);

    /// Chooses an entry; one that is not offered is added with a text that says so.
    static void choose(QComboBox *box, const QVariant &value);

    /// The first field with a number that cannot be stored, with the reason; nullptr if there is
    /// none.
    NumberSpinBox *findFault(QString &reason) const;

    /// A column in words, and a value as the user knows it.
    QString label(const QString &column) const;
    QString text(const QString &column, const QVariant &value) const;

private:
    bool isTouched(const QString &column, const QWidget *field) const;

    QList<QPair<QString, QWidget *>> m_fields; ///< by column
    Product m_product;
    QMap<const QWidget *, QVariant> m_shown;
};
