# SPDX-License-Identifier: MIT
"""The command `caldane-idl`: runs omniidl with the back end of this project and tells its errors."""
