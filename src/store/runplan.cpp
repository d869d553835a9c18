// SPDX-FileCopyrightText: 2026 Norvo Clone-Restore developers <norvo-clone-restore@example.org>
// SPDX-License-Identifier: GPL-2.0-or-later

#include "runplan.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <filesystem>

namespace {
std::string LineOf(const QJsonObject& object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact).toStdString() + "\n";
}

QJsonObject ObjectOf(const std::string& line)
{
    return QJsonDocument::fromJson(QByteArray::fromStdString(line)).object();
}

QJsonArray ListOf(const std::vector<std::string>& names)
{
    QJsonArray list;
    for (const std::string& name : names)
        list.append(QString::fromStdString(name));
    return list;
}

std::vector<std::string> NamesOf(const QJsonValue& value)
{
    constexpr int most = 256; // the kernel has no more partitions of a disk
    std::vector<std::string> names;
    const QJsonArray list = value.toArray();
    for (int i = 0; i < list.size() && i < most; ++i)
        names.push_back(list[i].toString().toStdString());
    return names;
}
} // namespace

std::string RunPlan::Line() const
{
    QJsonObject object = {{QStringLiteral("run"), isClone ? QStringLiteral("clone") : QStringLiteral("restore")},
        {QStringLiteral("table"), QString::fromStdString(table)},
        {QStringLiteral("began"), QString::fromStdString(began)}, {QStringLiteral("swap"), ListOf(swap)},
        {QStringLiteral("boot"), bootLoader}};
    if (parts)
        object.insert(QStringLiteral("parts"), ListOf(*parts));
    return LineOf(object);
}

std::optional<RunPlan> RunPlan::Parse(const std::string& line)
{
    const QJsonObject object = ObjectOf(line);
    const QString run = object.value(QLatin1String("run")).toString();
    if (run != QLatin1String("clone") && run != QLatin1String("restore"))
        return {};
    RunPlan plan;
    plan.isClone = run == QLatin1String("clone");
    plan.table = object.value(QLatin1String("table")).toString().toStdString();
    plan.began = object.value(QLatin1String("began")).toString().toStdString();
    plan.swap = NamesOf(object.value(QLatin1String("swap")));
    plan.bootLoader = object.value(QLatin1String("boot")).toBool();
    if (object.contains(QLatin1String("parts")))
        plan.parts = NamesOf(object.value(QLatin1String("parts")));
    return plan;
}

std::string RunPlan::OverLine()
{
    return LineOf({{QStringLiteral("over"), true}});
}

bool RunPlan::IsOverLine(const std::string& line)
{
    return ObjectOf(line).value(QLatin1String("over")).toBool();
}

std::string RunPlan::Disk() const
{
    const std::string stem = std::filesystem::path(table).stem(); // SERIAL_DATE_hdc
    return stem.substr(stem.rfind('_') + 1);
}
