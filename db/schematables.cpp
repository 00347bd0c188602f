#include "db/schematables.h"

#include "db/engine.h"

#include <QStringList>

namespace {

/// More than any barcode and enough to tell names apart, and short enough for old row formats.
constexpr int textPrefixLength = 64;

// clang-format off
constexpr TableDescription tables[] = {
    {"dbversion", false, "id",
     "version INTEGER, ctime TEXT"},
    {"warehouse", false, "id",
     "wuid TEXT, enabled INTEGER DEFAULT 1, type INTEGER DEFAULT 0, marking INTEGER "
     "DEFAULT 0, section INTEGER DEFAULT 1, groupid INTEGER, brandid INTEGER, favoritid "
     "INTEGER, article TEXT, name TEXT, keywords TEXT, description TEXT, location TEXT, "
     "width REAL, height REAL, depth REAL, weight REAL, fourweeksrate REAL, supplierid "
     "INTEGER, incost REAL, currency TEXT, inoutratio REAL, outcost REAL, discountratio "
     "REAL CHECK (discountratio>=0 AND discountratio<=1), quantity REAL, correction "
     "REAL, multiplicity REAL, orderquantity REAL, autoorder REAL, unitid INTEGER, "
     "expiretime TEXT, latime TEXT, lstime TEXT, ctime TEXT, mtime TEXT"},
    {"properties", false, "id",
     "type INTEGER, name TEXT, defaultvalue INTEGER"},
    {"properties_enums", false, "id",
     "propertyid INTEGER, value TEXT"},
    {"wareproperties", false, "id",
     "wareid INTEGER, propertyid INTEGER, enumid INTEGER, value DOUBLE"},
    {"currencies", false, "id",
     "c_code TEXT, symbol TEXT, value REAL"},
    {"articles", true, "id",
     "orderenabled INTEGER DEFAULT 1, wareid INTEGER, supplierid INTEGER, ratio REAL, "
     "orderquantity REAL, autoorder REAL, step REAL, name TEXT, incost REAL, itime TEXT, "
     "timestamp TEXT"},
    {"groups", true, "id",
     "guid TEXT, parent INTEGER, name TEXT, keywords TEXT, description TEXT, inetenabled "
     "INTEGER, imagefilename TEXT, creatormarginbonus REAL, creatorsumbonus REAL, "
     "managermarginbonus REAL, managersumbonus REAL, marginbonus REAL, sumbonus REAL, "
     "timestamp TEXT"},
    {"brands", true, "id",
     "buid TEXT, name TEXT, timestamp TEXT"},
    {"corrections", true, "id",
     "wareid INTEGER, correction REAL, description TEXT, incomeid INTEGER, cuserid "
     "INTEGER, ctime TEXT"},
    {"codes", true, "id",
     "wareid INTEGER, code TEXT, packquantity REAL, madein TEXT, userid INTEGER, "
     "timestamp TEXT"},
    {"incomeinvoice", true, "id",
     "wareid INTEGER, incost REAL, inoutratio REAL, outcost REAL, quantity REAL, userid "
     "INTEGER, timestamp TEXT"},
    {"income", true, "id",
     "reportid INTEGER, wareid INTEGER, incost REAL, quantity REAL, checkuserid INTEGER, "
     "checkquantity REAL, userid INTEGER, timestamp TEXT"},
    {"incomereports", true, "id",
     "total REAL, payment_type INTEGER DEFAULT 1, userid INTEGER, timestamp TEXT"},
    {"cart", true, "id",
     "orderid INTEGER, wareid INTEGER, discountid INTEGER, marking_code TEXT, outcost "
     "REAL, quantity REAL, checkuserid INTEGER, userid INTEGER, timestamp TEXT"},
    {"outcome", true, "id",
     "orderid INTEGER, wareid INTEGER, outcost REAL, discount REAL, quantity REAL, "
     "userid INTEGER, timestamp TEXT"},
    {"outcomereports", true, "id",
     "total REAL, userid INTEGER, timestamp TEXT"},
    {"pays", true, "id",
     "reportid INTEGER, orderid INTEGER, amount REAL, type INTEGER DEFAULT 1, userid "
     "INTEGER, ctime TEXT"},
    {"clients", true, "id",
     "barcode TEXT, sex INTEGER, surname TEXT, name TEXT, phone1 TEXT, phone2 TEXT, "
     "email TEXT, address TEXT, passport TEXT, paddress TEXT, notes TEXT, inn TEXT, kpp "
     "TEXT, okpo TEXT, bank TEXT, rschet TEXT, kschet TEXT, bik TEXT, ogrn TEXT, okved "
     "TEXT, store_address TEXT, store_phone TEXT, gendirector TEXT, manager1 TEXT, "
     "manager1_phone TEXT, manager1_email TEXT, manager2 TEXT, manager2_phone TEXT, "
     "manager2_email TEXT, site TEXT, paytype INTEGER, delivery TEXT, brands TEXT, "
     "worktime TEXT, cuserid INTEGER, ctime TEXT, mtime TEXT"},
    {"orders", true, "id",
     "reportid INTEGER, status INTEGER, total REAL, creatorreward REAL, managerreward "
     "REAL, reward REAL, createuserid INTEGER, managerid INTEGER, madeuserid INTEGER, "
     "giveoutuserid INTEGER, createtime TEXT,giveouttime TEXT"},
    {"orderinfo", true, "id",
     "clientid INTEGER, deliveryid INTEGER, trafficsourceid INTEGER, notes TEXT, "
     "description TEXT, extra TEXT, readytime TEXT"},
    {"users", true, "id",
     "enabled INTEGER DEFAULT 1, login TEXT, password TEXT, rights INTEGER, sex INTEGER, "
     "name TEXT, birthday TEXT, phone1 TEXT, phone2 TEXT, email TEXT, address TEXT, inn "
     "TEXT, pseries TEXT, pnumber TEXT, pdepartment TEXT, paddress TEXT, notes TEXT, "
     "frpassword INTEGER, websessionuid TEXT, weblastaccesstime TEXT, ctime TEXT"},
    {"usertokens", true, "id",
     "enabled INTEGER DEFAULT 1, userid INTEGER, token TEXT, description TEXT, "
     "lastaccesstime TEXT, ctime TEXT"},
    {"constructors", true, "id",
     "enabled INTEGER DEFAULT 1, name TEXT, description TEXT, data TEXT, userid INTEGER, "
     "ctime TEXT, mtime TEXT"},
    {"expense_types", true, "id",
     "kind INTEGER, name TEXT"},
    {"expenses", true, "id",
     "expense_type INTEGER, amount REAL, payment_type INTEGER DEFAULT 1, notes TEXT, "
     "userid INTEGER, ctime TEXT"},
    {"bonuspayments", false, "id",
     "outcomereportid INTEGER, amount REAL, balance REAL, userid INTEGER, ctime TEXT"},
    {"labels", false, "id",
     "code TEXT, name TEXT, quantity INTEGER"},
    {"suppliers", false, "id",
     "enabled INTEGER DEFAULT 1, name TEXT, email TEXT, tags TEXT, timestamp TEXT"},
    {"units", false, "id",
     "name TEXT, decimals INTEGER, timestamp TEXT"},
    {"images", false, "id",
     "wareid INTEGER, ordernum INTEGER, filename TEXT, description TEXT, centerx "
     "INTEGER, centery INTEGER, width INTEGER, angle REAL, rbot INTEGER, gbot INTEGER, "
     "bbot INTEGER, rtop INTEGER, gtop INTEGER, btop INTEGER, rgamma INTEGER, ggamma "
     "INTEGER, bgamma INTEGER, saturation INTEGER, timestamp TEXT"},
    {"options", false, "id",
     "name TEXT, localname TEXT, description TEXT, value TEXT, timestamp TEXT"},
    {"lastsales", false, "wareid",
     "lastsale TEXT"},
    {"import", false, "id",
     "importarticle TEXT, importname TEXT, importquantity REAL, importcost REAL, "
     "importcode TEXT, wareid INTEGER"},
    {"iclients", false, "id",
     "status INTEGER, cuid TEXT, name TEXT, email TEXT, password TEXT, phone TEXT, "
     "address TEXT, ctime TEXT, atime TEXT"},
    {"icart", false, "id",
     "iclientid INTEGER, wareid INTEGER, quantity REAL, timestamp TEXT"},
    {"ostatus", false, "id",
     "enabled INTEGER DEFAULT 1, name TEXT, color TEXT, client_message TEXT"},
    {"ostatushistory", false, "id",
     "orderid INTEGER, status INTEGER, cuserid INTEGER, ctime TEXT"},
    {"ostatusfilters", false, "id",
     "name TEXT, minstatus INTEGER, maxstatus INTEGER, muserid INTEGER, mtime TEXT"},
    {"materials", false, "id",
     "enabled INTEGER, alias TEXT, language TEXT, title TEXT, keywords TEXT, content "
     "LONGTEXT, ctime TEXT, mtime TEXT"},
    {"alerts", false, "id",
     "wareid INTEGER, phone TEXT, ctime TEXT"},
    {"tags", false, "id",
     "wareid INTEGER, codeid INTEGER, templateid INTEGER, quantity INTEGER"},
    {"discounts", false, "id",
     "type INTEGER, minimumquantity REAL, percent REAL, roundingtype INTEGER, name TEXT, "
     "code TEXT, starttime TEXT, endtime TEXT, userid INTEGER, ctime TEXT"},
    {"discountproducts", false, "id",
     "discountid INTEGER, wareid INTEGER, userid INTEGER, ctime TEXT"},
    {"discountgroups", false, "id",
     "discountid INTEGER, groupid INTEGER, userid INTEGER, ctime TEXT"},
    {"changeoutcostinfo", false, "id",
     "wareid INTEGER, ctime TEXT"},
    {"locales", false, "id",
     "name TEXT, description TEXT"},
    {"waretranslates", false, "id",
     "wareid INTEGER, locale TEXT, name TEXT, description TEXT"},
    {"events", false, "id",
     "actionid INTEGER, rowid INTEGER, userid INTEGER, ctime TEXT"},
    {"actions", false, "id",
     "name"},
    {"tasks", false, "id",
     "time TEXT, name TEXT, description TEXT, performed_flag INTEGER, performerid "
     "INTEGER, performedtime TEXT, checked_flag INTEGER, checkingid INTEGER, checkedtime "
     "TEXT, cuserid INTEGER, ctime TEXT"},
    {"counters", false, "id",
     "enabled INTEGER DEFAULT 1, name TEXT, cuserid INTEGER, ctime TEXT"},
    {"countervalues", false, "id",
     "reportid INTEGER, counterid INTEGER, value REAL, reject REAL, cuserid INTEGER, "
     "ctime TEXT"},
    {"counterproducts", false, "id",
     "counterid INTEGER, productid INTEGER, ratio REAL, cuserid INTEGER, ctime TEXT"},
    {"delivery", false, "id",
     "enabled INTEGER DEFAULT 1, dgroupid INTEGER, alias TEXT, name TEXT, to_the_door "
     "INTEGER, address TEXT, workinghours TEXT, cost REAL, wareid INTEGER, ctime TEXT, "
     "mtime TEXT"},
    {"trafficsources", false, "id",
     "name TEXT"},
    {"checks_to_print", false, "id",
     "orderid INTEGER, jsondata TEXT, cuserid INTEGER, ctime TEXT"},};

constexpr TableDescription addedTables[] = {
    {"collections", false, "id",
     "name TEXT"},
    {"collectionproducts", false, "id",
     "collectionid INTEGER, wareid INTEGER, userid INTEGER, ctime TEXT"},
};

constexpr ColumnAddition addedColumns[] = {
    {"suppliers", "notes", "TEXT"},
    {"suppliers", "minimalpurchase", "REAL"},
    {"collections", "description", "TEXT"},
};

// The columns behind the first one let a page of products be found in the index alone.
constexpr IndexDescription indexes[] = {
    {"warehouse", "wuid*"},
    {"warehouse", "name*,id,enabled,article*"},
    {"warehouse", "groupid,name*,id,enabled,article*"},
    {"warehouse", "brandid,name*,id,enabled,article*"},
    {"warehouse", "supplierid"},
    {"articles", "wareid"},
    {"articles", "supplierid"},
    {"articles", "name*"},
    {"groups", "parent"},
    {"codes", "wareid"},
    {"codes", "code*"},
    {"corrections", "wareid"},
    {"incomeinvoice", "wareid"},
    {"income", "reportid"},
    {"income", "wareid"},
    {"cart", "wareid"},
    {"changeoutcostinfo", "wareid"},
    {"alerts", "wareid"},
    {"labels", "code*"},
    {"images", "wareid"},
    {"wareproperties", "wareid"},
    {"wareproperties", "propertyid"},
    {"properties_enums", "propertyid"},
    {"waretranslates", "wareid"},
    {"discountproducts", "wareid"},
    {"discountgroups", "groupid"},
    {"collectionproducts", "wareid"},
    {"collectionproducts", "collectionid"},
};
// clang-format on

QString backquoted(const QString &name)
{
    return u'`' + name + u'`';
}

} // namespace

std::span<const TableDescription> schemaTables()
{
    return tables;
}

std::span<const TableDescription> laterTables()
{
    return addedTables;
}

std::span<const ColumnAddition> laterColumns()
{
    return addedColumns;
}

std::span<const IndexDescription> schemaIndexes()
{
    return indexes;
}

QStringList indexedColumns(const IndexDescription &index)
{
    return QString(index.columns).remove(u'*').split(u',');
}

QString indexName(const IndexDescription &index)
{
    return QLatin1String("idx_") + index.table + u'_' + indexedColumns(index).join(u'_');
}

QString createTableStatement(const TableDescription &table, const Engine &engine)
{
    QStringList columns;
    const QStringList declared = QString(table.columns).split(u',');
    for (const QString &column : declared)
        columns += engine.column(column);
    const QString name = table.backquoted ? backquoted(table.name) : QString(table.name);
    return "CREATE TABLE IF NOT EXISTS " + name + " (" + table.key + u' ' + engine.keyType() +
           ", " + columns.join(u',') + u')' + engine.tableOptions() + u';';
}

QString addColumnStatement(const QString &table, const QString &declaration, const Engine &engine)
{
    return "ALTER TABLE " + backquoted(table) + " ADD COLUMN " + engine.column(declaration) + u';';
}

QStringList declaredColumns(const TableDescription &table)
{
    QStringList columns = QString(table.columns).split(u',');
    for (QString &column : columns)
        column = column.trimmed();
    return columns;
}

QString createIndexStatement(const IndexDescription &index, const Engine &engine)
{
    QStringList columns;
    const QStringList declared = QString(index.columns).split(u',');
    for (const QString &column : declared) {
        const QString name = backquoted(QString(column).remove(u'*'));
        columns += column.endsWith(u'*') ? engine.indexedText(name, textPrefixLength) : name;
    }
    return "CREATE INDEX " + backquoted(indexName(index)) + " ON " + backquoted(index.table) +
           " (" + columns.join(u',') + ");";
}
