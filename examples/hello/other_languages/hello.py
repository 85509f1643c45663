# python3 hello.py hello.literal.wsdl NAME, with Debian's python3-zeep.
import sys

import zeep

greeter = zeep.Client(sys.argv[1]).service
print(greeter.greet(sys.argv[2], 1))
