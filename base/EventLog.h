// Failure notes for the Application event log.
#pragma once

/// Reports one informational record under the source "VexaFPService", whose registration is the service
/// installation's business. The folder c:\FPLog is the switch: without it nothing happens. Formats by the
/// Windows rule (%s is wide text); what exceeds 511 units is cut.
void ReportFPEvent(const wchar_t* format, ...);
