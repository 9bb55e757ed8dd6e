"""Starts the iSCSI stack of a host where it does not run."""
from ansible.module_utils.basic import AnsibleModule
from ansible.module_utils.opinitctl import Opinitctl


def main():
    module = AnsibleModule(argument_spec={}, supports_check_mode=True)
    opinitctl = Opinitctl(module)
    if opinitctl.is_to_come():
        module.exit_json(changed=True)
    status = opinitctl.ask("status")
    if not status["installed"]:
        module.fail_json(msg="the iSCSI stack is not installed; opinitctl doctor tells what is missing")
    if not status["running"] and not module.check_mode:
        opinitctl.ask("start")
    module.exit_json(changed=not status["running"])


if __name__ == "__main__":
    main()
