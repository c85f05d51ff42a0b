#include "Options.h"

const wchar_t* UsageText()
{
    return LR"(LogonScreen: a stand-in for LogonUI that drives a credential provider without locking anybody out.

It loads the provider's DLL, makes the calls that the logon screen of Windows makes, in the same order and on one
thread, shows the tile, follows CredentialsChanged, collects the logon, has it judged by a simulated LSA, reports
the result to the provider and unloads the DLL again. Each step is written to the standard output.

Usage: LogonScreen [options]

The provider
  --dll PATH            load this DLL (default: the one registered for the class)
  --clsid {GUID}        the provider's class (default: {0CE326A8-C767-433F-82B9-601B2A27321E})
  --scenario WHAT       logon (default) or unlock
  --lives N             N logon screens one after another in this process (default 1)
  --keep-loaded         do not unload the DLL between lives

The Windows around it
  --account 'DOMAIN\user:password[:STATE]'
                        an account of the simulated system; may be repeated. What stands in the account's way:
                        restricted, hours, workstation, expired, mustchange, disabled or lockedout
  --computer NAME       the computer's name
  --language LCID       the system's default language, decimal or 0x..., e.g. 1033 or 0x409
  --session STATE       active (default) or disconnected
  --fail FUNCTION:CODE[:SKIP[:TIMES]]
                        let a Windows function fail with CODE, after SKIP good calls, TIMES times (1);
                        repeatable
  --service NAME:STATE  the state the service manager reports: running, stopped, starting, stopping, paused;
                        repeatable. Given once, no other service exists; otherwise the real ones are asked
  --device-problem CODE the problem reported for every device node, e.g. 22 for a disabled one
  --clock SCALE         how long one of the provider's milliseconds of waiting lasts: 0.01 is a hundred times
                        faster, default 1
  --real                simulate nothing: run against the system itself; no logon is attempted
  --report STATUS[:SUBSTATUS]
                        report this result to the provider whatever LSA says, e.g. 0xC000006D:0

The run
  --until WHAT          what ends a life: logon (default), prompt:TEXT (a prompt that contains TEXT) or SECONDS
  --time-limit SECONDS  end a life after that time whatever --until says (default 60)
  --hold MS             leave the screen up for so long after the end condition (default 500: Windows too takes
                        a while to leave the logon screen; 0 releases the provider at once)
  --expect WHAT         'DOMAIN\user': the logon must be that account's, accepted and without a violation;
                        none: no logon may come out, which goes with --until prompt:TEXT or SECONDS
  --transcript FILE     write the lines into FILE as well
  --no-window           show no logon screen; Esc in the window ends a life

Registration (administrator's rights)
  --register            register the DLL given with --dll as COM class and as credential provider
  --unregister          remove both

Exit status
  0  the expected outcome, and nothing was left behind
  1  another outcome: wrong or refused logon, a logon where none was expected, a violation of the interfaces
  2  bad command line, or the registry or transcript could not be written
  3  no tile: the DLL can't be loaded, or the provider refused to be created or refused the scenario
  4  the time limit came before the end condition
  5  something was left behind: the DLL did not unload, or a window of it outlived it
  6  the provider crashed, or did not return from a call
)";
}
