"""Calls of opinitctl: what it answers as JSON, and failures as Ansible shows them."""
import json
import os


class Opinitctl:
    def __init__(self, module):
        self.module = module
        self.program = module.get_bin_path("opinitctl", required=not module.check_mode, opt_dirs=["/usr/local/bin"])

    def is_to_come(self):
        """In check mode the packages are not installed yet: all that is wanted is a change then."""
        return self.program is None

    def ask(self, *words, secrets=None):
        """The answer to a command. `secrets` are options whose values no command line and no file shows."""
        secrets = secrets or {}
        arguments, readers = [self.program, "--json", *words], []
        for option, secret in secrets.items():
            reader, writer = os.pipe()
            os.write(writer, secret.encode())
            os.close(writer)
            readers.append(reader)
            arguments += [option, "/dev/fd/%d" % reader]
        code, answer, complaint = self.module.run_command(arguments, pass_fds=readers)
        for reader in readers:
            os.close(reader)
        if code != 0:
            self.fail(words, code, complaint)
        return json.loads(answer) if answer.strip() else None

    def fail(self, words, code, complaint):
        try:
            failure = json.loads(complaint)
        except ValueError:
            failure = {"error": complaint.strip()}
        self.module.fail_json(msg=failure["error"], rc=code, command="opinitctl " + " ".join(words),
                              status=failure.get("status"), said=failure.get("said", []))
