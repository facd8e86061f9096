<?xml version="1.0"?>
<!-- What a node holds natively, as the OpenConfig state of its amplifiers. The input is one <data> element with the
     native documents and, as <records>, the input powers of the system database. -->
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform"
                xmlns="http://openconfig.net/yang/optical-amplfier"
                xmlns:ots="http://korvex.example/ns/yang/Korvex-controller-orvo8-ots-oper"
                xmlns:pm="http://korvex.example/ns/yang/Korvex-pmengine-oper"
                exclude-result-prefixes="ots pm">
  <xsl:output method="xml" indent="no" omit-xml-declaration="yes"/>

  <xsl:key name="history" match="pm:optics-port-history" use="pm:name"/>
  <xsl:key name="record" match="record" use="@controller"/>

  <xsl:template match="/">
    <optical-amplifier>
      <amplifiers>
        <xsl:apply-templates select="data/ots:ots-oper/ots:ots-ports/ots:ots-port"/>
      </amplifiers>
    </optical-amplifier>
  </xsl:template>

  <xsl:template match="ots:ots-port">
    <xsl:variable name="slot" select="substring-before(substring-after(ots:name, '/'), '/')"/>
    <xsl:variable name="port" select="substring-after(substring-after(substring-after(ots:name, '/'), '/'), '/')"/>
    <xsl:variable name="other" select="1 - $port"/>
    <xsl:variable name="side" select="concat('0/', $slot, '-OtsCtrl-0/')"/>
    <xsl:variable name="kind">
      <xsl:choose>
        <xsl:when test="$port = 0">PRE</xsl:when>
        <xsl:otherwise>BST</xsl:otherwise>
      </xsl:choose>
    </xsl:variable>
    <xsl:variable name="name" select="concat('0/', $slot, '-AMP-', $kind)"/>
    <xsl:variable name="info" select="ots:ots-info"/>
    <xsl:variable name="lane" select="$info/ots:lane-data"/>
    <xsl:variable name="instance"
                  select="key('history', ots:name)/pm:optics-second30-history/pm:optics-second30-optics-histories/pm:optics-second30-optics-history/pm:optics-second30-optics-time-line-instances/pm:optics-second30-optics-time-line-instance"/>
    <xsl:variable name="record" select="key('record', concat('Ots0_', $slot, '_0_', $other))"/>
    <amplifier>
      <name><xsl:value-of select="$name"/></name>
      <state>
        <name><xsl:value-of select="$name"/></name>
        <type>EDFA</type>
        <amp-mode>CONSTANT_GAIN</amp-mode>
        <ingress-port><xsl:value-of select="concat($side, $other)"/></ingress-port>
        <egress-port><xsl:value-of select="concat($side, $port)"/></egress-port>
        <gain-range>
          <xsl:choose>
            <xsl:when test="$info/ots:ampli-gain-range-config-val = 'amplifier-gain-range-normal'">LOW_GAIN_RANGE</xsl:when>
            <xsl:otherwise>HIGH_GAIN_RANGE</xsl:otherwise>
          </xsl:choose>
        </gain-range>
        <enabled><xsl:value-of select="not($info/ots:osri-config-val = 'true')"/></enabled>
        <actual-gain>
          <instant><xsl:value-of select="format-number($info/ots:ampli-gain div 100, '0.00')"/></instant>
          <xsl:apply-templates select="$instance/pm:ampli-gain/*"/>
        </actual-gain>
        <actual-gain-tilt>
          <instant><xsl:value-of select="format-number($info/ots:ampli-tilt div 100, '0.00')"/></instant>
          <xsl:apply-templates select="$instance/pm:ampli-gain-tilt/*"/>
        </actual-gain-tilt>
        <input-power-c-band>
          <instant><xsl:value-of select="format-number(($lane/ots:receive-power | $lane/ots:receive-power-dbm)[last()] div 100, '0.00')"/></instant>
          <min><xsl:value-of select="normalize-space($record/@minimum)"/></min>
          <avg><xsl:value-of select="normalize-space($record/@average)"/></avg>
          <max><xsl:value-of select="normalize-space($record/@maximum)"/></max>
        </input-power-c-band>
        <output-power-c-band>
          <instant><xsl:value-of select="format-number(($lane/ots:transmit-power | $lane/ots:transmit-power-dbm)[last()] div 100, '0.00')"/></instant>
          <xsl:apply-templates select="$instance/pm:opt/*"/>
        </output-power-c-band>
      </state>
    </amplifier>
  </xsl:template>

  <xsl:template match="pm:minimum"><min><xsl:value-of select="normalize-space()"/></min></xsl:template>
  <xsl:template match="pm:average"><avg><xsl:value-of select="normalize-space()"/></avg></xsl:template>
  <xsl:template match="pm:maximum"><max><xsl:value-of select="normalize-space()"/></max></xsl:template>
</xsl:stylesheet>
