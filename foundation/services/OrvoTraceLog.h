#pragma once

/// The vocabulary of log lines.
class OrvoTraceLog {
public:
    /// How serious a line is; a log shows the lines whose number is at most its threshold.
    enum Severity : int {
        SeverityError = 1,
        SeverityWarning = 2,
        SeverityInformation = 3,
        SeverityDetail = 4
    };

    enum Verbosity : int { VerbosityLow = 1, VerbosityNormal = 2, VerbosityHigh = 3 };
};
