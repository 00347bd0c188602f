#pragma once

class QWidget;

/// Opens the user manual in the browser; says so over the parent when it is not installed.
void openManual(QWidget *parent);
