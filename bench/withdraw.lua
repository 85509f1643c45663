-- One small call, as any SOAP 1.1 client would send it; the connection is kept.
wrk.method = "POST"
wrk.headers["Content-Type"] = "text/xml; charset=\"utf-8\""
wrk.headers["Connection"] = "Keep-Alive"
wrk.headers["SOAPAction"] = "\"withdraw\""
wrk.body = [[<?xml version="1.0" encoding="UTF-8"?>
<SOAP-ENV:Envelope xmlns:SOAP-ENV="http://schemas.xmlsoap.org/soap/envelope/" xmlns:xsd="http://www.w3.org/2001/XMLSchema" xmlns:xsi="http://www.w3.org/2001/XMLSchema-instance">
<SOAP-ENV:Body>
<m:withdraw xmlns:m="http://acme.example/bank">
<account>alice</account>
<amount>0</amount></m:withdraw>
</SOAP-ENV:Body>
</SOAP-ENV:Envelope>
]]
