"""Connects to a simulated host: each command enters the one whose state directory the inventory names."""
import shlex

from ansible.errors import AnsibleError
from ansible.plugins.connection.local import Connection as Local

DOCUMENTATION = """
name: simhost
short_description: run tasks in a simulated host
description: Needs pipelining, since modules then come by standard input and no file has to be copied.
options:
  enter:
    description: The program that enters a simulated host.
    required: true
    vars: [{name: simhost_enter}]
  state:
    description: The state directory of the host.
    required: true
    vars: [{name: simhost_state}]
extends_documentation_fragment: [connection_pipelining]
"""


class Connection(Local):
    transport = "simhost"

    def exec_command(self, cmd, in_data=None, sudoable=True):
        enter = [self.get_option("enter"), "--state", self.get_option("state")]
        return super().exec_command(shlex.join(enter + ["/bin/sh", "-c", cmd]), in_data=in_data, sudoable=sudoable)

    def put_file(self, in_path, out_path):
        raise AnsibleError("no files are copied to a simulated host: set pipelining")

    fetch_file = put_file
