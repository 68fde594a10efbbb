# Completion of scrivel for bash. Text ids are the user's.
complete -o default -W '-n -v -t --' scrivel
