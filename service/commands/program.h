#ifndef SERVICE_COMMANDS_PROGRAM_H_
#define SERVICE_COMMANDS_PROGRAM_H_

// The whole program `lumivault`: finds the sub-command, runs it and gives the exit status (exit_status.h). An
// error is one line on standard error.
int RunProgram(int argc, char** argv);

#endif  // SERVICE_COMMANDS_PROGRAM_H_
