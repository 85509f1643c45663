// node hello.mjs URL NAME: no toolkit, the envelope is written by hand.
const [url, name] = process.argv.slice(2);
const escaped = (text) => text.replace(/&/g, "&amp;").replace(/</g, "&lt;");
const plain = (xml) => xml.replace(/&lt;/g, "<").replace(/&gt;/g, ">").replace(/&quot;/g, '"')
  .replace(/&apos;/g, "'").replace(/&amp;/g, "&");
const envelope = `<e:Envelope xmlns:e="http://schemas.xmlsoap.org/soap/envelope/"><e:Body>
<m:greet xmlns:m="IDL:Hello/Greeter:1.0"><name>${escaped(name)}</name><times>1</times></m:greet></e:Body></e:Envelope>`;
const reply = await fetch(url, {
  method: "POST",
  headers: { "Content-Type": "text/xml; charset=utf-8", SOAPAction: '"greet"' },
  body: envelope,
});
const body = await reply.text();
if (!reply.ok) {
  console.error(plain(body.match(/<faultstring>(.*?)<\/faultstring>/s)?.[1] ?? reply.statusText));
  process.exit(3);
}
console.log(plain(body.match(/<return>(.*?)<\/return>/s)[1]));
